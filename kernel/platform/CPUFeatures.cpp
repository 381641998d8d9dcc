// Feature answers for SIMD dispatch. Each is computed on first use and kept
// in a function-local constant, so later calls cost one guarded load.
#include <kernel/CPU.h>

namespace Kernel {

namespace {

constexpr bool Bit(uint32_t word, int n) { return ((word >> n) & 1) != 0; }

// XCR0 bits: 1 SSE state, 2 AVX upper halves, 5-7 AVX-512 mask and upper registers.
constexpr uint64_t kXcr0Avx = 0x6;
constexpr uint64_t kXcr0Avx512 = 0xE6;

const SIMDFeatures& HardwareFeatures() {
  static const SIMDFeatures features = DetectSIMDFeatures(CPUIDSource::Hardware());
  return features;
}

}  // namespace

SIMDFeatures DetectSIMDFeatures(const CPUIDSource& source) {
  SIMDFeatures f;
  if (!source.CheckCPUID()) return f;
  const uint32_t maxLeaf = source.DoCPUID(0).eax;
  if (maxLeaf < 1) return f;
  const CPUIDRegisters leaf1 = source.DoCPUID(1);
  // Every x86-64 system saves the SSE registers, so the processor flags
  // alone decide up to SSE4.1.
  f.mmx = Bit(leaf1.edx, 23);
  f.sse = Bit(leaf1.edx, 25);
  f.sse2 = Bit(leaf1.edx, 26);
  f.ssse3 = Bit(leaf1.ecx, 9);
  f.sse41 = Bit(leaf1.ecx, 19);
  // The wide registers are usable only when the system turned on XSAVE
  // (OSXSAVE, bit 27) and saves their upper halves (XCR0).
  const bool osxsave = Bit(leaf1.ecx, 27);
  const uint64_t xcr0 = osxsave ? source.GetXCR0() : 0;
  f.avx = osxsave && Bit(leaf1.ecx, 28) && (xcr0 & kXcr0Avx) == kXcr0Avx;
  if (maxLeaf >= 7) {
    const CPUIDRegisters leaf7 = source.DoCPUID(7);
    f.avx2 = f.avx && Bit(leaf7.ebx, 5);
    f.avx512f = f.avx && Bit(leaf7.ebx, 16) && (xcr0 & kXcr0Avx512) == kXcr0Avx512;
  }
  return f;
}

bool IsMMXAvailable() {
  static const bool available = CPUDetector::DetectCPU().CanExecuteMMX();
  return available;
}

bool IsSSEAvailable() {
  static const bool available = CPUDetector::DetectCPU().CanExecuteSSE();
  return available;
}

bool IsSSE2Available() {
  static const bool available = CPUDetector::DetectCPU().CanExecuteSSE2();
  return available;
}

bool IsSSSE3Available() { return HardwareFeatures().ssse3; }
bool IsSSE41Available() { return HardwareFeatures().sse41; }
bool IsAVXAvailable() { return HardwareFeatures().avx; }
bool IsAVX2Available() { return HardwareFeatures().avx2; }
bool IsAVX512FAvailable() { return HardwareFeatures().avx512f; }

}  // namespace Kernel
