// The processor this runs on, checked against what the kernel reports about
// it in /proc/cpuinfo, sysconf and the affinity interface. Nothing about the
// machine is assumed beyond what those sources say.
#include <gtest/gtest.h>

#include <kernel/CPU.h>

#include <sched.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <map>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The first processor's block of /proc/cpuinfo as key -> value, plus the
// (physical id, core id) pairs of every processor.
struct CpuInfo {
  std::map<std::string, std::string> first;
  std::set<std::pair<std::string, std::string>> cores;
  int processors = 0;
  bool ok = false;
};

std::string Trim(const std::string& s) {
  const size_t b = s.find_first_not_of(" \t");
  const size_t e = s.find_last_not_of(" \t");
  return b == std::string::npos ? std::string() : s.substr(b, e - b + 1);
}

CpuInfo ReadCpuInfo() {
  CpuInfo info;
  std::ifstream in("/proc/cpuinfo");
  if (!in) return info;
  std::string line, physical = "0", core;
  std::map<std::string, std::string> block;
  auto finish = [&] {
    if (block.empty()) return;
    if (info.processors++ == 0) info.first = block;
    if (block.count("core id"))
      info.cores.insert({block.count("physical id") ? block["physical id"] : "0", block["core id"]});
    block.clear();
  };
  while (std::getline(in, line)) {
    const size_t colon = line.find(':');
    if (colon == std::string::npos) {
      finish();
      continue;
    }
    block[Trim(line.substr(0, colon))] = Trim(line.substr(colon + 1));
  }
  finish();
  info.ok = info.processors > 0 && info.first.count("vendor_id");
  return info;
}

std::set<std::string> Flags(const CpuInfo& info) {
  std::set<std::string> flags;
  std::istringstream ss(info.first.count("flags") ? info.first.at("flags") : "");
  std::string f;
  while (ss >> f) flags.insert(f);
  return flags;
}

std::wstring Wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

}  // namespace

TEST(CPUMachine, IdentificationAgreesWithTheKernel) {
  const CpuInfo info = ReadCpuInfo();
  if (!info.ok) GTEST_SKIP() << "no x86 /proc/cpuinfo here";
  Kernel::CPU& cpu = Kernel::CPUDetector::DetectCPU();
  ASSERT_TRUE(cpu.HasCPUID());
  EXPECT_EQ(std::wstring(cpu.GetManufacturerString().GetString()), Wide(info.first.at("vendor_id")));
  if (info.first.count("cpuid level")) {
    EXPECT_EQ(cpu.GetMaxBasicLeaf(), std::strtoull(info.first.at("cpuid level").c_str(), nullptr, 10));
  }
  EXPECT_EQ(&cpu, &Kernel::CPUDetector::DetectCPU());

  const auto flags = Flags(info);
  EXPECT_EQ(cpu.IsMMXOnChip(), flags.count("mmx") == 1);
  EXPECT_EQ(cpu.IsFXSROnChip(), flags.count("fxsr") == 1);
  EXPECT_EQ(cpu.IsSSEOnChip(), flags.count("sse") == 1);
  EXPECT_EQ(cpu.IsSSE2OnChip(), flags.count("sse2") == 1);
  EXPECT_EQ(cpu.HasHardwareMultiThreading(), flags.count("ht") == 1);
  EXPECT_EQ(Kernel::IsMMXAvailable(), flags.count("mmx") == 1);
  EXPECT_EQ(Kernel::IsSSEAvailable(), flags.count("sse") == 1);
  EXPECT_EQ(Kernel::IsSSE2Available(), flags.count("sse2") == 1);
  EXPECT_EQ(Kernel::IsSSSE3Available(), flags.count("ssse3") == 1);
  EXPECT_EQ(Kernel::IsSSE41Available(), flags.count("sse4_1") == 1);
  // The kernel drops the AVX flags itself when it does not save the wide
  // registers, so its list and the XCR0-checked answers must agree.
  EXPECT_EQ(Kernel::IsAVXAvailable(), flags.count("avx") == 1);
  EXPECT_EQ(Kernel::IsAVX2Available(), flags.count("avx2") == 1);
  EXPECT_EQ(Kernel::IsAVX512FAvailable(), flags.count("avx512f") == 1);

  auto* intel = dynamic_cast<Kernel::CPUIntel*>(&cpu);
  EXPECT_EQ(intel != nullptr, info.first.at("vendor_id") == "GenuineIntel");
  if (!intel) return;
  const unsigned family = unsigned(std::strtoul(info.first.at("cpu family").c_str(), nullptr, 10));
  const unsigned model = unsigned(std::strtoul(info.first.at("model").c_str(), nullptr, 10));
  // The kernel folds the extended fields in; this class keeps them apart
  // and reads them only for family 15 and model 15.
  EXPECT_EQ(intel->GetFamily() + (intel->GetFamily() == 15 ? intel->GetExtendedFamily() : 0), family);
  EXPECT_EQ(intel->GetModel(), model & 0xF);
  if (info.first.count("stepping")) {
    EXPECT_EQ(intel->GetStepping(), std::strtoul(info.first.at("stepping").c_str(), nullptr, 10));
  }
  if (info.first.count("model name") && intel->GetMaxExtendedLeaf() >= 0x80000004) {
    // The kernel also trims trailing blanks.
    std::wstring brand(intel->GetBrandString().GetString());
    while (!brand.empty() && brand.back() == L' ') brand.pop_back();
    EXPECT_EQ(brand, Wide(info.first.at("model name")));
  }
}

TEST(CPUMachine, CountsAgreeWithSysconfAndCpuinfo) {
  const long online = sysconf(_SC_NPROCESSORS_ONLN);
  ASSERT_GT(online, 0);
  const uint32_t logical = Kernel::GetNumberOfCPUs(true);
  const uint32_t cores = Kernel::GetNumberOfCPUs(false);
  EXPECT_EQ(logical, uint32_t(online));
  EXPECT_GE(logical, cores);
  EXPECT_GE(cores, 1u);
  const CpuInfo info = ReadCpuInfo();
  if (info.ok && !info.cores.empty()) {
    EXPECT_EQ(cores, uint32_t(info.cores.size()));
  }
  EXPECT_EQ(Kernel::GetNumberOfCPUs(true), logical);
  EXPECT_EQ(Kernel::IPP::GetInstance().GetNumberOfProcessors(), logical);
  EXPECT_EQ(Kernel::IPP::GetInstance().GetNumberOfCores(), cores);
  const uint32_t usable = Kernel::IPP::GetInstance().GetNumberOfUsableProcessors();
  EXPECT_GE(usable, 1u);
  EXPECT_LE(usable, logical);
}

TEST(CPUMachine, AffinityFollowsTheProcessMask) {
  const uint32_t all = Kernel::GetNumberOfCPUsWithAffinity();
  EXPECT_GE(all, 1u);
  EXPECT_LE(all, Kernel::GetNumberOfCPUs(true));
  // In a child process, so this process keeps its own mask.
  EXPECT_EXIT(
      {
        cpu_set_t current;
        CPU_ZERO(&current);
        if (sched_getaffinity(0, sizeof current, &current) != 0) std::_Exit(3);
        int first = 0;
        while (first < CPU_SETSIZE && !CPU_ISSET(first, &current)) ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        if (sched_setaffinity(0, sizeof one, &one) != 0) std::_Exit(4);
        std::_Exit(Kernel::GetNumberOfCPUsWithAffinity() == 1 ? 0 : 1);
      },
      ::testing::ExitedWithCode(0), "");
}

#if defined(__x86_64__) || defined(__i386__)
namespace {
uint16_t ControlWord() {
  uint16_t cw;
  __asm__ volatile("fnstcw %0" : "=m"(cw));
  return cw;
}
void SetControlWord(uint16_t cw) { __asm__ volatile("fldcw %0" : : "m"(cw)); }
uint16_t StatusWord() {
  uint16_t sw;
  __asm__ volatile("fnstsw %0" : "=m"(sw));
  return sw;
}
// The x87 environment: control, status and tag words at offsets 0, 4, 8.
uint16_t TagWord() {
  uint32_t env[7];
  __asm__ volatile("fnstenv %0\n\tfldenv %0" : "=m"(env));
  return uint16_t(env[2]);
}
}  // namespace

TEST(CPUMachine, ResetFpuKeepsRoundingAndPrecision) {
  const uint16_t original = ControlWord();
  // Round up (bits 10-11 = 10), 53-bit precision (bits 8-9 = 10), all exceptions masked.
  const uint16_t custom = uint16_t((original & ~0x0F00) | 0x0800 | 0x0200);
  SetControlWord(custom);
  // Leave two values on the register stack and raise the precision flag.
  double third = 0;
  __asm__ volatile("fld1\n\tfld1\n\tfldpi\n\tfdivp\n\tfstl %0" : "=m"(third));
  EXPECT_NE(TagWord(), 0xFFFF);
  EXPECT_NE(StatusWord() & 0x3F, 0);
  Kernel::ResetFpu();
  EXPECT_EQ(ControlWord(), custom);
  EXPECT_EQ(TagWord(), 0xFFFF);         // the register stack is empty
  EXPECT_EQ(StatusWord() & 0x38FF, 0);  // no flags, stack top 0
  SetControlWord(original);
  EXPECT_GT(third, 0.3);
}

TEST(CPUMachine, FlagsRegisterOfAUserProcess) {
  const uint64_t flags = Kernel::CPU::GetEFlags();
  EXPECT_EQ(flags & 0x2, 0x2u);      // bit 1 always reads as one
  EXPECT_EQ(flags & 0x200, 0x200u);  // interrupts are enabled in user mode
  EXPECT_EQ(Kernel::CPU::GetIOPrivilegeLevel(), 0);
  EXPECT_EQ(Kernel::CPU::GetIOPrivilegeLevel(), uint8_t((flags >> 12) & 3));
}
#endif
