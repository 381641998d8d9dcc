// Identification of crafted processors: vendor, feature bits, the version
// fields and their table, the brand tables and strings, the serial number and
// the report text.
#include <gtest/gtest.h>

#include <kernel/CPU.h>

#include <string>
#include <utility>
#include <vector>

#include "cpu_crafted.h"

using Kernel::CPU;
using Kernel::CPUIntel;
using nktest::CraftedCPUID;
using nktest::Identified;
using nktest::Text;
using nktest::Version;

TEST(CPUVendor, TwelveCharactersExactAndCaseSensitive) {
  struct Case {
    const char* vendor;
    CPU::Manufacturer expected;
  } cases[] = {
      {"GenuineIntel", CPU::Intel},   {"AuthenticAMD", CPU::AMD},
      {"CyrixInstead", CPU::Cyrix},   {"genuineintel", CPU::Unknown},
      {"AuthenticAMd", CPU::Unknown}, {"HygonGenuine", CPU::Unknown},
      {"CentaurHauls", CPU::Unknown}, {"", CPU::Unknown},
  };
  for (const Case& c : cases) {
    CraftedCPUID source;
    source.SetVendor(c.vendor, 1);
    const Identified<CPU> id(source);
    const CPU& cpu = id.cpu;
    EXPECT_EQ(cpu.GetManufacturer(), c.expected) << c.vendor;
    EXPECT_EQ(cpu.IsIntel(), c.expected == CPU::Intel) << c.vendor;
    EXPECT_EQ(cpu.IsAMD(), c.expected == CPU::AMD) << c.vendor;
    EXPECT_EQ(cpu.IsCyrix(), c.expected == CPU::Cyrix) << c.vendor;
    EXPECT_EQ(cpu.IsManufacturerValid(), c.expected != CPU::Unknown) << c.vendor;
    // The vendor string is the twelve bytes read as characters.
    CString vendor;
    cpu.GetManufacturer(vendor);
    EXPECT_EQ(Text(vendor), std::wstring(c.vendor, c.vendor + std::strlen(c.vendor))) << c.vendor;
    const std::wstring known =
        c.expected == CPU::Unknown ? L"Manufacturer known : No\n\n" : L"Manufacturer known : Yes\n\n";
    EXPECT_NE(id.Report().find(known), std::wstring::npos) << c.vendor;
  }
}

TEST(CPUVendor, WithoutCPUIDEverythingKeepsItsInitialValue) {
  CraftedCPUID source = CraftedCPUID::Intel(Version(0, 6, 8), 0, 0xFFFFFFFF);
  source.hasCPUID = false;
  const Identified<CPU> id(source);
  const CPU& cpu = id.cpu;
  EXPECT_FALSE(cpu.HasCPUID());
  EXPECT_EQ(Text(cpu.GetManufacturerString()), L"<Unknown Manufacturer>");
  EXPECT_EQ(cpu.GetFeatures(), 0xFFFFFFFFu);
  EXPECT_EQ(cpu.GetMaxBasicLeaf(), 0u);
  EXPECT_FALSE(cpu.OSSupportsSSE());
  // The all-ones initial word must not answer yes to anything.
  for (int bit = 0; bit < 64; ++bit) EXPECT_FALSE(cpu.IsFeatureBit(uint8_t(bit))) << bit;
  EXPECT_EQ(id.Report(),
            L"CPUID available : No\n"
            L"Manufacturer string : \"<Unknown Manufacturer>\"\n"
            L"Manufacturer known : No\n"
            L"\n"
            L"MMX support : No\n"
            L"SSE support : No\n"
            L"SSE2 support : No\n"
            L"SSE/SSE2 supported by operating system : No\n");
}

TEST(CPUFeatures, NamedBitsNeedLeafOne) {
  using Query = bool (CPU::*)() const;
  struct Case {
    uint32_t maxLeaf, edx;
    Query query;
    bool expected;
  } cases[] = {{1, 1u << 23, &CPU::IsMMXOnChip, true},
               {1, 1u << 22, &CPU::IsMMXOnChip, false},
               {0, 1u << 23, &CPU::IsMMXOnChip, false},
               {1, 1u << 23, &CPU::CanExecuteMMX, true},
               {1, 1u << 24, &CPU::IsFXSROnChip, true},
               {1, 1u << 25, &CPU::IsSSEOnChip, true},
               {1, 1u << 25, &CPU::CanExecuteSSE, true},
               {1, 1u << 26, &CPU::IsSSE2OnChip, true},
               {1, 1u << 26, &CPU::CanExecuteSSE, false},
               {1, 1u << 26, &CPU::CanExecuteSSE2, true},
               {1, 1u << 28, &CPU::HasHardwareMultiThreading, true},
               {1, 1u << 27, &CPU::HasHardwareMultiThreading, false}};
  for (const Case& c : cases) {
    const Identified<CPU> id(CraftedCPUID::Intel(0, 0, c.edx, c.maxLeaf));
    const CPU& cpu = id.cpu;
    EXPECT_EQ((cpu.*c.query)(), c.expected) << std::hex << c.edx << " leaf " << c.maxLeaf;
    // The bit number wraps at 64.
    EXPECT_EQ(cpu.IsFeatureBit(23 + 64), cpu.IsFeatureBit(23));
  }
  const Identified<> intel(CraftedCPUID::Intel(0, 0, (1u << 18) | (1u << 4), 1));
  EXPECT_TRUE(intel.cpu.SupportsSerialNo() && intel.cpu.SupportsTimeStamp());
}

TEST(CPUIntelVersion, FieldsAndTheirExtendedParts) {
  struct Case {
    uint32_t eax;
    uint8_t type, family, model, stepping, extFamily, extModel;
  } cases[] = {
      {Version(0, 6, 8, 3), 0, 6, 8, 3, 0, 0},
      {Version(1, 5, 4, 15), 1, 5, 4, 15, 0, 0},
      {Version(3, 4, 7, 0), 3, 4, 7, 0, 0, 0},
      // Extended model counts only on model 15, extended family only on family 15.
      {Version(0, 6, 8, 1, 0xAB, 0xA), 0, 6, 8, 1, 0, 0},
      {Version(0, 6, 15, 1, 0xAB, 0xA), 0, 6, 15, 1, 0, 0xA},
      {Version(0, 15, 2, 9, 0x12, 0x3), 0, 15, 2, 9, 0x12, 0},
      {Version(0, 15, 15, 9, 0xFF, 0xF), 0, 15, 15, 9, 0xFF, 0xF},
      // A modern processor: family 6, model 0xA7 reads as model 7.
      {0x000A0671, 0, 6, 7, 1, 0, 0},
      // Bits 14-15 and 28-31 are reserved and ignored.
      {Version(2, 6, 3) | 0xF000C000u, 2, 6, 3, 0, 0, 0},
  };
  for (const Case& c : cases) {
    const Identified<> id(CraftedCPUID::Intel(c.eax));
    const CPUIntel& cpu = id.cpu;
    EXPECT_EQ(cpu.GetVersionInformation(), c.eax);
    const std::vector<int> fields = {cpu.GetType(),     cpu.GetFamily(),         cpu.GetModel(),
                                     cpu.GetStepping(), cpu.GetExtendedFamily(), cpu.GetExtendedModel()};
    EXPECT_EQ(fields, (std::vector<int>{c.type, c.family, c.model, c.stepping, c.extFamily, c.extModel}))
        << "type family model stepping extFamily extModel of " << std::hex << c.eax;
  }
}

TEST(CPUIntelModelTable, EveryRowAndTheMisses) {
  const std::pair<uint32_t, const wchar_t*> cases[] = {
      {Version(0, 4, 4), L"Intel486 SL processor"},
      {Version(0, 4, 7), L"Write-Back Enhanced IntelDX2 processors"},
      {Version(0, 4, 8), L"IntelDX4(TM) processors"},
      {Version(1, 4, 8), L"IntelDX4 OverDrive processors"},
      {Version(0, 5, 1), L"Pentium(R) processors (60, 66)"},
      {Version(0, 5, 2), L"Pentium processors (75, 90, 100, 120, 133, 150, 166, 200)"},
      {Version(1, 5, 1), L"Pentium OverDrive processor for Pentium processor (60, 66)"},
      {Version(1, 5, 2), L"Pentium OverDrive processor for Pentium processor (75, 90, 100, 120, 133)"},
      {Version(1, 5, 3), L"Pentium OverDrive processors for Intel486 processor-based systems"},
      {Version(0, 5, 4), L"Pentium processor with MMX(TM) technology (166, 200)"},
      {Version(1, 5, 4),
       L"Pentium OverDrive processor with MMX(TM) technology for Pentium processor (75, 90, 100, 120, 133)"},
      {Version(0, 6, 1), L"Pentium Pro processor"},
      {Version(0, 6, 3), L"Pentium II processor, model 3"},
      {Version(0, 6, 5),
       L"Pentium II processor, model 5, Pentium II Xeon processor, model 5, and Intel Celeron processor, model 5"},
      {Version(0, 6, 6), L"Intel Celeron processor, model 6"},
      {Version(0, 6, 7), L"Pentium III processor, model 7, and Pentium III Xeon processor, model 7"},
      {Version(0, 6, 8, 6),
       L"Pentium III processor, model 8, Pentium III Xeon processor, model 8, and Intel Celeron processor, model 8"},
      {Version(0, 6, 10), L"Pentium III Xeon processor, model A"},
      {Version(0, 6, 11), L"Pentium III processor, model B"},
      {Version(1, 6, 3), L"Intel Pentium II OverDrive processor"},
      {Version(0, 15, 0, 7), L"Intel Pentium 4 processor or Intel Xeon processor"},
      // Stepping and the unread extended bits do not take part.
      {Version(0, 6, 8, 15, 0x55, 0x5),
       L"Pentium III processor, model 8, Pentium III Xeon processor, model 8, "
       L"and Intel Celeron processor, model 8"},
      // Misses: unknown type, family, model, or extended fields that count.
      {Version(2, 6, 8), L""},
      {Version(1, 6, 8), L""},
      {Version(0, 6, 9), L""},
      {Version(0, 3, 4), L""},
      {Version(0, 15, 0, 0, 1), L""},
      {Version(0, 6, 15, 0, 0, 0), L""},
      {Version(0, 15, 15, 0, 0, 0), L""},
  };
  for (const auto& [eax, text] : cases) {
    EXPECT_EQ(Text(Identified<>(CraftedCPUID::Intel(eax)).cpu.GetModelDescription()), text) << std::hex << eax;
  }
}

TEST(CPUIntelBrandTable, EveryIndexAndTheUnrecognised) {
  const std::pair<uint32_t, const wchar_t*> cases[] = {
      {0x01, L"Intel(R) Celeron(TM) processor"},
      {0x02, L"Intel(R) Pentium(R) III processor"},
      {0x03, L"Intel(R) Pentium(R) III Xeon(TM) processor"},
      {0x04, L"Intel(R) Pentium(R) III processor"},
      {0x08, L"Intel(R) Pentium(R) 4 processor"},
      {0x0E, L"Intel(R) Xeon(TM) processor"},
      // Only the low byte of EBX is the index.
      {0xFFFF0E0E, L"Intel(R) Xeon(TM) processor"},
      {0x05, L"Unrecognised brand ID (0x05)"},
      {0x0F, L"Unrecognised brand ID (0x0f)"},
      {0xAB, L"Unrecognised brand ID (0xab)"},
      {0x12345600, L""},
  };
  for (const auto& [ebx, text] : cases) {
    const Identified<> id(CraftedCPUID::Intel(Version(0, 6, 8), ebx));
    EXPECT_EQ(id.cpu.GetBrandIndex(), uint8_t(ebx & 0xFF));
    EXPECT_EQ(Text(id.cpu.GetBrandIDString()), text) << std::hex << ebx;
  }
}

TEST(CPUIntelBrandString, ExtendedLeavesTrimmedAtTheFront) {
  const std::string full48 = "0123456789abcdef0123456789ABCDEF0123456789abcdeZ";
  struct Case {
    std::string bytes;
    uint32_t maxExtended;
    uint32_t expectedMaxExtended;
    std::wstring expected;
  } cases[] = {
      {"       Intel(R) Xeon(R) CPU E5-2680 v4 @ 2.40GHz", 0x80000008, 0x80000008,
       L"Intel(R) Xeon(R) CPU E5-2680 v4 @ 2.40GHz"},
      {"Intel(R) Core(TM) i7  ", 0x80000004, 0x80000004, L"Intel(R) Core(TM) i7  "},
      // Forty-eight characters without a terminator are all kept.
      {full48, 0x80000004, 0x80000004, std::wstring(full48.begin(), full48.end())},
      {std::string("Intel\0hidden", 12), 0x80000004, 0x80000004, L"Intel"},
      {"                                                ", 0x80000004, 0x80000004, L""},
      // The brand leaves are read only when the processor has them.
      {"Intel(R) Pentium(R) 4", 0x80000003, 0x80000003, L""},
      // Without bit 31 there are no extended leaves at all.
      {"Intel(R) Pentium(R) 4", 0x00000004, 0, L""},
  };
  for (const Case& c : cases) {
    CraftedCPUID source = CraftedCPUID::Intel(Version(0, 15, 2));
    source.SetBrand(c.bytes, c.maxExtended);
    const Identified<> id(source);
    EXPECT_EQ(id.cpu.GetMaxExtendedLeaf(), c.expectedMaxExtended) << c.bytes;
    EXPECT_EQ(Text(id.cpu.GetBrandString()), c.expected) << c.bytes;
  }
}

TEST(CPUIntelSerial, SixGroupsWhenBitEighteenIsSet) {
  struct Case {
    uint32_t edx1, eax1, edx3, ecx3;
    const wchar_t* expected;
  } cases[] = {
      {1u << 18, 0x00000686, 0x12345678, 0x9ABCDEF0, L"0000-0686-1234-5678-9ABC-DEF0"},
      {1u << 18, 0xFFFFFFFF, 0x0000000A, 0x000B0000, L"FFFF-FFFF-0000-000A-000B-0000"},
      {0, 0x00000686, 0x12345678, 0x9ABCDEF0, L""},
  };
  for (const Case& c : cases) {
    CraftedCPUID source = CraftedCPUID::Intel(c.eax1, 0, c.edx1, 3);
    source.leaves[3] = Kernel::CPUIDRegisters{0, 0, c.ecx3, c.edx3};
    EXPECT_EQ(Text(Identified<>(source).cpu.GetSerialNumber()), c.expected);
  }
}

TEST(CPUReport, PentiumThreeLineByLine) {
  CraftedCPUID source = CraftedCPUID::Intel(Version(0, 6, 8, 6), 0x05, 0x0383F9FF | (1u << 18), 3);
  source.leaves[3] = Kernel::CPUIDRegisters{0, 0, 0x9ABCDEF0, 0x12345678};
  source.SetBrand("  Intel(R) Pentium(R) III CPU", 0x80000004);
  EXPECT_EQ(Identified<>(source).Report(),
            L"CPUID available : Yes\n"
            L"Max input for basic CPUID : 0x00000003\n"
            L"Manufacturer string : \"GenuineIntel\"\n"
            L"Manufacturer known : Yes\n"
            L"\n"
            L"Feature information : 0x0387f9ff\n"
            L"MMX support : Yes\n"
            L"SSE support : Yes\n"
            L"SSE2 support : No\n"
            L"SSE/SSE2 supported by operating system : Yes\n"
            L"Version information : 0x00000686\n"
            L"Type : 0, Family : 6, Model : 8, Stepping : 6\n"
            L"Extended family : N/A\n"
            L"Extended model : N/A\n"
            L"Model description : \"Pentium III processor, model 8, Pentium III Xeon processor, model 8, and Intel "
            L"Celeron processor, model 8\"\n"
            L"\n"
            L"Extended CPUID information available : Yes\n"
            L"Max input for extended CPUID : 0x80000004\n"
            L"Brand index : 0x05\n"
            L"Brand ID string : \"Unrecognised brand ID (0x05)\"\n"
            L"Brand string on CPU : \"Intel(R) Pentium(R) III CPU\"\n"
            L"Serial number: 0000-0686-1234-5678-9ABC-DEF0\n");
}

TEST(CPUReport, ConditionalLines) {
  struct Case {
    Case(const char* n, uint32_t leaf, uint32_t eax, uint32_t ext, std::vector<std::wstring> p,
         std::vector<std::wstring> a)
        : name(n), maxLeaf(leaf), eax1(eax), maxExtended(ext), present(std::move(p)), absent(std::move(a)) {}
    const char* name;
    uint32_t maxLeaf, eax1, maxExtended;
    std::vector<std::wstring> present, absent;
  };
  const Case cases[] = {
      Case("family and model 15", 2, Version(0, 15, 15, 2, 0x1, 0x3), 0,
           {L"Version information : 0x00130ff2\n", L"Type : 0, Family : 15, Model : 15, Stepping : 2\n",
            L"Extended family : 1\n", L"Extended model : 3\n", L"Model description : \"\"\n",
            L"Extended CPUID information available : No\n", L"Brand index : 0x00\n"},
           {L"Max input for extended CPUID"}),
      Case("no leaf 1", 0, Version(0, 6, 8), 0x80000008,
           {L"SSE/SSE2 supported by operating system : Yes\n\nExtended CPUID information available : No\n"
            L"Brand ID string : \"\"\nBrand string on CPU : \"\"\nSerial number: \n"},
           {L"Feature information", L"Version information", L"Brand index"}),
      Case("extended leaves", 1, Version(0, 6, 8), 0x80000001,
           {L"Extended CPUID information available : Yes\nMax input for extended CPUID : 0x80000001\n"}, {}),
  };
  for (const Case& c : cases) {
    CraftedCPUID source = CraftedCPUID::Intel(c.eax1, 0, 0, c.maxLeaf);
    source.leaves[0x80000000].eax = c.maxExtended;
    const std::wstring text = Identified<>(source).Report();
    for (const auto& line : c.present) EXPECT_NE(text.find(line), std::wstring::npos) << c.name;
    for (const auto& line : c.absent) EXPECT_EQ(text.find(line), std::wstring::npos) << c.name;
  }
}

TEST(CPUDetectorChoice, IntelVendorGetsTheIntelReader) {
  struct Case {
    const char* vendor;
    bool intel;
  } cases[] = {{"GenuineIntel", true}, {"AuthenticAMD", false}, {"Unknown Corp", false}};
  for (const Case& c : cases) {
    CraftedCPUID source = CraftedCPUID::Intel(Version(0, 6, 8), 0x02, 1u << 23, 1);
    source.SetVendor(c.vendor, 1);
    Kernel::CPUDetector detector(&source);
    CPU& cpu = detector.GetCPU();
    EXPECT_EQ(dynamic_cast<CPUIntel*>(&cpu) != nullptr, c.intel) << c.vendor;
    EXPECT_TRUE(cpu.IsMMXOnChip());
    // Detection runs once: later answers are the same object, even after
    // the source changes.
    source.SetVendor("AuthenticAMD", 1);
    EXPECT_EQ(&detector.GetCPU(), &cpu);
  }
}

TEST(SIMDFeatureDetection, WideRegistersNeedTheSystemsConsent) {
  constexpr uint32_t kOsxsave = 1u << 27, kAvx = 1u << 28, kSsse3 = 1u << 9, kSse41 = 1u << 19;
  constexpr uint32_t kAvx2 = 1u << 5, kAvx512f = 1u << 16;
  struct Case {
    const char* name;
    uint32_t maxLeaf, ecx1, ebx7;
    uint64_t xcr0;
    bool ssse3, sse41, avx, avx2, avx512f;
  } cases[] = {
      {"everything enabled", 7, kOsxsave | kAvx | kSsse3 | kSse41, kAvx2 | kAvx512f, 0xE7, true, true, true, true,
       true},
      {"system saves no upper halves", 7, kOsxsave | kAvx, kAvx2 | kAvx512f, 0x3, false, false, false, false, false},
      {"system without XSAVE", 7, kAvx, kAvx2 | kAvx512f, 0xE7, false, false, false, false, false},
      {"AVX but not AVX-512 state", 7, kOsxsave | kAvx, kAvx2 | kAvx512f, 0x7, false, false, true, true, false},
      {"only part of the AVX-512 state", 7, kOsxsave | kAvx, kAvx512f, 0x67, false, false, true, false, false},
      {"AVX2 flag without AVX", 7, kOsxsave, kAvx2, 0x7, false, false, false, false, false},
      {"leaf 7 beyond the last leaf", 6, kOsxsave | kAvx, kAvx2 | kAvx512f, 0xE7, false, false, true, false, false},
      {"SSE levels only", 1, kSsse3 | kSse41, 0, 0, true, true, false, false, false},
  };
  for (const Case& c : cases) {
    CraftedCPUID source = CraftedCPUID::Intel(0, 0, (1u << 23) | (1u << 25) | (1u << 26), c.maxLeaf);
    source.leaves[1].ecx = c.ecx1;
    source.leaves[7].ebx = c.ebx7;
    source.xcr0 = c.xcr0;
    const Kernel::SIMDFeatures f = Kernel::DetectSIMDFeatures(source);
    EXPECT_TRUE(f.mmx && f.sse && f.sse2) << c.name;
    EXPECT_EQ(f.ssse3, c.ssse3) << c.name;
    EXPECT_EQ(f.sse41, c.sse41) << c.name;
    EXPECT_EQ(f.avx, c.avx) << c.name;
    EXPECT_EQ(f.avx2, c.avx2) << c.name;
    EXPECT_EQ(f.avx512f, c.avx512f) << c.name;
    // Reading XCR0 without OSXSAVE would fault on a real processor.
    if (!(c.ecx1 & kOsxsave)) {
      EXPECT_EQ(source.xcr0Reads, 0) << c.name;
    }
  }
  CraftedCPUID none;
  none.hasCPUID = false;
  none.leaves[1].edx = 0xFFFFFFFF;
  const Kernel::SIMDFeatures f = Kernel::DetectSIMDFeatures(none);
  EXPECT_FALSE(f.mmx || f.sse || f.sse2 || f.ssse3 || f.sse41 || f.avx || f.avx2 || f.avx512f);
}
