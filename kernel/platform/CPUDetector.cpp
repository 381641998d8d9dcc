#include <kernel/CPU.h>

#include <memory>

namespace Kernel {

CPUDetector::CPUDetector(const CPUIDSource* source) : m_source(source) {}

CPUDetector::~CPUDetector() { delete m_cpu; }

CPU& CPUDetector::DetectCPU() {
  // A function-local instance rather than a namespace-scope one: SIMD
  // dispatch tables of other translation units may ask during their own
  // static initialisation, before a namespace-scope object would exist.
  static CPUDetector s_instance;
  return s_instance._DetectCPU();
}

CPU& CPUDetector::_DetectCPU() {
  CSingleLock lock(&m_lock, TRUE);
  if (!m_cpu) {
    // A plain object finds the vendor first; only then is it known which
    // class can read the rest.
    CPU::Manufacturer manufacturer;
    {
      CPU probe(m_source);
      probe.Init();
      manufacturer = probe.GetManufacturer();
    }
    std::unique_ptr<CPU> cpu(manufacturer == CPU::Intel ? new CPUIntel(m_source) : new CPU(m_source));
    cpu->Init();
    m_cpu = cpu.release();
  }
  return *m_cpu;
}

}  // namespace Kernel
