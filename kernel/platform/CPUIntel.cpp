#include <kernel/CPU.h>

#include <cstring>
#include <string>

#include "ReportText.h"

namespace Kernel {

const CPUIntel::BRANDID_ENTRY CPUIntel::s_tableBrand[6] = {
    {0x01, L"Intel(R) Celeron(TM) processor"},
    {0x02, L"Intel(R) Pentium(R) III processor"},
    {0x03, L"Intel(R) Pentium(R) III Xeon(TM) processor"},
    {0x04, L"Intel(R) Pentium(R) III processor"},
    {0x08, L"Intel(R) Pentium(R) 4 processor"},
    {0x0E, L"Intel(R) Xeon(TM) processor"},
};

const CPUIntel::MODELID_ENTRY CPUIntel::s_tableModel[21] = {
    {0, 4, 4, 0, 0, L"Intel486 SL processor"},
    {0, 4, 7, 0, 0, L"Write-Back Enhanced IntelDX2 processors"},
    {0, 4, 8, 0, 0, L"IntelDX4(TM) processors"},
    {1, 4, 8, 0, 0, L"IntelDX4 OverDrive processors"},
    {0, 5, 1, 0, 0, L"Pentium(R) processors (60, 66)"},
    {0, 5, 2, 0, 0, L"Pentium processors (75, 90, 100, 120, 133, 150, 166, 200)"},
    {1, 5, 1, 0, 0, L"Pentium OverDrive processor for Pentium processor (60, 66)"},
    {1, 5, 2, 0, 0, L"Pentium OverDrive processor for Pentium processor (75, 90, 100, 120, 133)"},
    {1, 5, 3, 0, 0, L"Pentium OverDrive processors for Intel486 processor-based systems"},
    {0, 5, 4, 0, 0, L"Pentium processor with MMX(TM) technology (166, 200)"},
    {1, 5, 4, 0, 0,
     L"Pentium OverDrive processor with MMX(TM) technology for Pentium processor (75, 90, 100, 120, 133)"},
    {0, 6, 1, 0, 0, L"Pentium Pro processor"},
    {0, 6, 3, 0, 0, L"Pentium II processor, model 3"},
    {0, 6, 5, 0, 0,
     L"Pentium II processor, model 5, Pentium II Xeon processor, model 5, and Intel Celeron processor, model 5"},
    {0, 6, 6, 0, 0, L"Intel Celeron processor, model 6"},
    {0, 6, 7, 0, 0, L"Pentium III processor, model 7, and Pentium III Xeon processor, model 7"},
    {0, 6, 8, 0, 0,
     L"Pentium III processor, model 8, Pentium III Xeon processor, model 8, and Intel Celeron processor, model 8"},
    {0, 6, 10, 0, 0, L"Pentium III Xeon processor, model A"},
    {0, 6, 11, 0, 0, L"Pentium III processor, model B"},
    {1, 6, 3, 0, 0, L"Intel Pentium II OverDrive processor"},
    {0, 15, 0, 0, 0, L"Intel Pentium 4 processor or Intel Xeon processor"},
};

CPUIntel::CPUIntel(const CPUIDSource* source) : CPU(source) {}

CPUIntel::~CPUIntel() = default;

void CPUIntel::Init() {
  // Start from the initial values so that a second Init on another
  // processor leaves nothing of the first behind.
  m_versionInformation = 0;
  m_maxExtendedLeaf = 0;
  m_brandIndex = 0;
  m_brandIDString = L"";
  m_brandString = L"";
  m_type = m_family = m_model = m_stepping = m_extendedFamily = m_extendedModel = 0;
  m_modelDescription = L"";
  m_serialNumber = L"";
  m_serialWords[0] = m_serialWords[1] = m_serialWords[2] = 0;
  CPU::Init();
  if (m_maxBasicLeaf == 0) return;

  uint64_t regs[4];
  DoCPUID(regs, 1);
  const uint32_t eax = uint32_t(regs[0]);
  m_versionInformation = eax;
  m_stepping = uint8_t(eax & 0xF);
  m_model = uint8_t((eax >> 4) & 0xF);
  m_family = uint8_t((eax >> 8) & 0xF);
  m_type = uint8_t((eax >> 12) & 0x3);
  // The extended fields only count when the base field is at its maximum;
  // otherwise they stay 0, also when the processor fills them in.
  if (m_model == 15) m_extendedModel = uint8_t((eax >> 16) & 0xF);
  if (m_family == 15) m_extendedFamily = uint8_t((eax >> 20) & 0xFF);
  for (const MODELID_ENTRY& row : s_tableModel) {
    if (row.type == m_type && row.family == m_family && row.model == m_model &&
        row.extendedFamily == m_extendedFamily && row.extendedModel == m_extendedModel) {
      m_modelDescription = row.text;
      break;
    }
  }

  m_brandIndex = uint8_t(regs[1] & 0xFF);
  if (m_brandIndex != 0) {
    m_brandIDString = FormatText(L"Unrecognised brand ID (0x%.02x)", unsigned(m_brandIndex)).c_str();
    for (const BRANDID_ENTRY& row : s_tableBrand) {
      if (row.brandIndex == m_brandIndex) {
        m_brandIDString = row.text;
        break;
      }
    }
  }

  DoCPUID(regs, 0x80000000u);
  if (regs[0] & 0x80000000u) m_maxExtendedLeaf = uint32_t(regs[0]);
  if (m_maxExtendedLeaf >= 0x80000004u) {
    char bytes[49];
    for (uint32_t i = 0; i < 3; ++i) {
      DoCPUID(regs, 0x80000002u + i);
      for (int r = 0; r < 4; ++r) {
        const uint32_t word = uint32_t(regs[r]);
        std::memcpy(bytes + i * 16 + r * 4, &word, 4);
      }
    }
    bytes[48] = '\0';
    const char* p = bytes;
    while (*p == ' ') ++p;
    std::wstring brand;
    for (; *p; ++p) brand.push_back(wchar_t(static_cast<unsigned char>(*p)));
    m_brandString = brand.c_str();
  }

  if (IsFeatureBit(18)) {
    m_serialWords[0] = eax;
    DoCPUID(regs, 3);
    m_serialWords[1] = uint32_t(regs[3]);
    m_serialWords[2] = uint32_t(regs[2]);
    m_serialNumber =
        FormatText(L"%04X-%04X-%04X-%04X-%04X-%04X", m_serialWords[0] >> 16, m_serialWords[0] & 0xFFFF,
                   m_serialWords[1] >> 16, m_serialWords[1] & 0xFFFF, m_serialWords[2] >> 16, m_serialWords[2] & 0xFFFF)
            .c_str();
  }
}

void CPUIntel::GetInfo(CString& out) const {
  CPU::GetInfo(out);
  std::wstring t(out.GetString());
  if (m_maxBasicLeaf != 0) {
    AppendFormat(t, L"Version information : 0x%.08x\n", unsigned(m_versionInformation));
    AppendFormat(t, L"Type : %u, Family : %u, Model : %u, Stepping : %u\n", unsigned(m_type), unsigned(m_family),
                 unsigned(m_model), unsigned(m_stepping));
    if (m_family == 15)
      AppendFormat(t, L"Extended family : %u\n", unsigned(m_extendedFamily));
    else
      t += L"Extended family : N/A\n";
    if (m_model == 15)
      AppendFormat(t, L"Extended model : %u\n", unsigned(m_extendedModel));
    else
      t += L"Extended model : N/A\n";
    AppendFormat(t, L"Model description : \"%ls\"\n", m_modelDescription.GetString());
  }
  t += L"\n";
  const bool extended = (m_maxExtendedLeaf & 0x80000000u) != 0;
  AppendFormat(t, L"Extended CPUID information available : %ls\n", YesNo(extended));
  if (extended) AppendFormat(t, L"Max input for extended CPUID : 0x%.08x\n", unsigned(m_maxExtendedLeaf));
  if (m_maxBasicLeaf != 0) AppendFormat(t, L"Brand index : 0x%.02x\n", unsigned(m_brandIndex));
  AppendFormat(t, L"Brand ID string : \"%ls\"\n", m_brandIDString.GetString());
  AppendFormat(t, L"Brand string on CPU : \"%ls\"\n", m_brandString.GetString());
  AppendFormat(t, L"Serial number: %ls\n", m_serialNumber.GetString());
  out = t.c_str();
}

}  // namespace Kernel
