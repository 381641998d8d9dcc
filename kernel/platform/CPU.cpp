#include <kernel/CPU.h>

#include <cstring>
#include <string>

#include "ReportText.h"

namespace Kernel {

CPU::CPU(const CPUIDSource* source)
    : m_manufacturerString(L"<Unknown Manufacturer>"), m_source(source ? source : &CPUIDSource::Hardware()) {}

CPU::~CPU() = default;

bool CPU::CheckCPUID() const { return m_source->CheckCPUID(); }

void CPU::DoCPUID(uint64_t* const out, uint64_t leaf) const {
  const CPUIDRegisters r = m_source->DoCPUID(uint32_t(leaf));
  out[0] = r.eax;
  out[1] = r.ebx;
  out[2] = r.ecx;
  out[3] = r.edx;
}

CPU::Manufacturer CPU::ReadManufacturer(const CString& vendor) {
  const wchar_t* v = vendor.GetString();
  if (std::wcscmp(v, L"GenuineIntel") == 0) return Intel;
  if (std::wcscmp(v, L"AuthenticAMD") == 0) return AMD;
  if (std::wcscmp(v, L"CyrixInstead") == 0) return Cyrix;
  return Unknown;
}

bool CPU::QuerySupportForSSE() const { return m_hasCPUID; }

void CPU::Init() {
  m_osSupportsSSE = false;
  m_maxBasicLeaf = 0;
  m_manufacturerString = L"<Unknown Manufacturer>";
  m_manufacturer = Unknown;
  m_features = 0xFFFFFFFF;
  m_hasCPUID = CheckCPUID();
  if (!m_hasCPUID) return;
  uint64_t regs[4];
  DoCPUID(regs, 0);
  m_maxBasicLeaf = regs[0];
  // The vendor's twelve characters come in EBX, EDX, ECX: that order
  // spells "GenuineIntel".
  const uint32_t words[3] = {uint32_t(regs[1]), uint32_t(regs[3]), uint32_t(regs[2])};
  char bytes[12];
  std::memcpy(bytes, words, sizeof bytes);
  wchar_t vendor[13];
  for (int i = 0; i < 12; ++i) vendor[i] = wchar_t(static_cast<unsigned char>(bytes[i]));
  vendor[12] = L'\0';
  m_manufacturerString = vendor;
  m_manufacturer = ReadManufacturer(m_manufacturerString);
  if (m_maxBasicLeaf != 0) {
    DoCPUID(regs, 1);
    m_features = regs[3];
  }
  m_osSupportsSSE = QuerySupportForSSE();
}

void CPU::GetInfo(CString& out) const {
  std::wstring t;
  AppendFormat(t, L"CPUID available : %ls\n", YesNo(m_hasCPUID));
  if (m_hasCPUID) AppendFormat(t, L"Max input for basic CPUID : 0x%.08x\n", unsigned(m_maxBasicLeaf));
  AppendFormat(t, L"Manufacturer string : \"%ls\"\n", m_manufacturerString.GetString());
  AppendFormat(t, L"Manufacturer known : %ls\n\n", YesNo(m_manufacturer != Unknown));
  if (m_maxBasicLeaf != 0) AppendFormat(t, L"Feature information : 0x%.08x\n", unsigned(m_features));
  AppendFormat(t, L"MMX support : %ls\n", YesNo(IsFeatureBit(23)));
  AppendFormat(t, L"SSE support : %ls\n", YesNo(IsFeatureBit(25)));
  AppendFormat(t, L"SSE2 support : %ls\n", YesNo(IsFeatureBit(26)));
  AppendFormat(t, L"SSE/SSE2 supported by operating system : %ls\n", YesNo(m_osSupportsSSE));
  out = t.c_str();
}

}  // namespace Kernel
