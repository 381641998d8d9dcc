// Processor-load counters over crafted statistics files: the counter paths,
// the arithmetic of one interval, the rhythm of consecutive readings and the
// failures.
#include <gtest/gtest.h>

#include <kernel/PerfCounter.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <tuple>

namespace fs = std::filesystem;

namespace {

class StatFile {
 public:
  StatFile()
      : path_(fs::temp_directory_path() / ("nk_stat_" + std::to_string(getpid()) + "_" + std::to_string(n_++))) {}
  ~StatFile() {
    std::error_code ec;
    fs::remove(path_, ec);
  }
  void Write(const std::string& text) const { std::ofstream(path_, std::ios::trunc) << text; }
  const char* c_str() const { return path_.c_str(); }

 private:
  static inline int n_ = 0;
  fs::path path_;
};

// Columns: user nice system idle iowait irq softirq steal guest guest_nice.
const std::string kZero = "0 0 0 0 0 0 0 0 0 0";
const wchar_t* const kTime = L"\\Processor(0)\\% Processor Time";

std::string Stat(const std::string& cpu0, const std::string& cpu1 = kZero, const std::string& total = kZero) {
  return "cpu  " + total + "\ncpu0 " + cpu0 + "\ncpu1 " + cpu1 +
         "\nintr 12345 0 0\nctxt 999\nbtime 1700000000\nprocesses 42\nprocs_running 1\n";
}

// A CPU-load counter over `file`, its first sample taken from `first`.
std::unique_ptr<Kernel::CPerfCounter> Counter(const StatFile& file, const std::string& first,
                                              const wchar_t* path = kTime) {
  file.Write(first);
  return std::unique_ptr<Kernel::CPerfCounter>(Kernel::CPerfCounterNT4::Create(path, file.c_str()));
}

}  // namespace

TEST(PerfCounter, OneIntervalFromTwoSamples) {
  struct Case {
    const char* name;
    const wchar_t* path;
    std::string before, after;  // cpu0 columns
    bool ok;
    uint32_t value;
  } cases[] = {
      {"half busy", kTime, "100 0 100 800 0 0 0 0 0 0", "150 0 150 900 0 0 0 0 0 0", true, 50},
      {"iowait counts as idle", kTime, kZero, "25 0 0 50 25 0 0 0 0 0", true, 25},
      {"steal and interrupts count as busy", kTime, kZero, "0 0 0 70 0 10 10 10 0 0", true, 30},
      {"guest time is already inside user", kTime, kZero, "50 0 0 50 0 0 0 0 50 0", true, 50},
      {"rounds to the nearest percent", kTime, kZero, "2 0 0 1 0 0 0 0 0 0", true, 67},
      {"a half rounds up", kTime, kZero, "1 0 0 199 0 0 0 0 0 0", true, 1},
      {"no tick elapsed", kTime, "5 5 5 5 0 0 0 0 0 0", "5 5 5 5 0 0 0 0 0 0", true, 0},
      {"iowait stepping back is clamped", kTime, "0 0 0 100 50 0 0 0 0 0", "0 0 0 100 40 0 0 0 0 0", true, 0},
      {"old kernel with four columns", kTime, "10 0 10 80", "40 0 10 130", true, 38},
      {"privileged part includes interrupts", L"\\Processor(0)\\% Privileged Time", kZero, "10 10 30 40 0 5 5 0 0 0",
       true, 40},
      {"idle part", L"\\Processor(0)\\% Idle Time", "0 0 0 0 0 0 0 0 0 0", "10 0 10 60 20 0 0 0 0 0", true, 80},
      {"names ignore case", L"\\processor(0)\\% PROCESSOR TIME", kZero, "1 0 0 3 0 0 0 0 0 0", true, 25},
      {"unknown counter", L"\\Processor(0)\\% Bogus Time", kZero, "1 0 0 3 0 0 0 0 0 0", false, 0},
      {"unknown object", L"\\Memory\\Available Bytes", kZero, "1 0 0 3 0 0 0 0 0 0", false, 0},
      {"processor not present", L"\\Processor(7)\\% Processor Time", kZero, "1 0 0 3 0 0 0 0 0 0", false, 0},
      {"instance not a number", L"\\Processor(0x1)\\% Processor Time", kZero, "1 0 0 3 0 0 0 0 0 0", false, 0},
      {"too few columns", kTime, "1 2 3", "4 5 6", false, 0},
      {"damaged column", kTime, "1 2 3 4 5", "1 2 x 4 5", false, 0},
  };
  for (const Case& c : cases) {
    StatFile file;
    const auto counter = Counter(file, Stat(c.before), c.path);
    ASSERT_NE(counter, nullptr);
    file.Write(Stat(c.after));
    uint32_t value = 12345;
    EXPECT_EQ(counter->GetValue(&value), c.ok) << c.name;
    if (c.ok) {
      EXPECT_EQ(value, c.value) << c.name;
    }
  }
}

TEST(PerfCounter, TotalAndOtherProcessors) {
  StatFile file;
  const auto total = Counter(file, Stat(kZero), L"\\Processor(_Total)\\% Processor Time");
  const auto one = Counter(file, Stat(kZero), L"\\Processor(1)\\% Processor Time");
  // cpu0 idle, cpu1 fully busy: the total is the share over both.
  file.Write(Stat("0 0 0 100 0 0 0 0 0 0", "100 0 0 0 0 0 0 0 0 0", "100 0 0 100 0 0 0 0 0 0"));
  uint32_t value = 0;
  ASSERT_TRUE(total->GetValue(&value));
  EXPECT_EQ(value, 50u);
  ASSERT_TRUE(one->GetValue(&value));
  EXPECT_EQ(value, 100u);
}

TEST(PerfCounter, ConsecutiveReadingsCoverConsecutiveIntervals) {
  StatFile file;
  file.Write(Stat(kZero));
  std::unique_ptr<Kernel::CPerfCounter> counter(Kernel::CreateCPUCounter(file.c_str()));
  // Each step: the statistics at the end of an interval, whether it reads, and its load.
  const std::tuple<std::string, bool, uint32_t> steps[] = {
      {Stat("90 0 0 10 0 0 0 0 0 0"), true, 90},    // 90 of 100 ticks busy
      {Stat("100 0 0 100 0 0 0 0 0 0"), true, 10},  // not 50: only the ticks since the last reading count
      {Stat("100 0 0 100 0 0 0 0 0 0"), true, 0},   // nothing elapsed
      {Stat("200 0 0 100 0 0 0 0 0 0"), true, 100},
      // A failed reading still starts the next interval: when the
      // statistics come back, the reading after that has no first sample yet.
      {"garbage\n", false, 0},
      {Stat("10 0 0 10 0 0 0 0 0 0"), false, 0},
      {Stat("40 0 0 20 0 0 0 0 0 0"), true, 75},
  };
  for (size_t i = 0; i < std::size(steps); ++i) {
    const auto& [text, ok, load] = steps[i];
    file.Write(text);
    uint32_t value = 999;
    ASSERT_EQ(counter->GetValue(&value), ok) << "step " << i;
    if (ok) {
      EXPECT_EQ(value, load) << "step " << i;
    }
  }
  EXPECT_FALSE(counter->GetValue(nullptr));
}

TEST(PerfCounter, UsageIsMinusOneWhenTheCounterCannotBeRead) {
  StatFile file;
  EXPECT_EQ(Kernel::GetCPUUsage(file.c_str()), -1);  // no such file
  file.Write("cpu  1 2 3 4\ncpu1 1 2 3 4\n");
  EXPECT_EQ(Kernel::GetCPUUsage(file.c_str()), -1);  // no processor 0
  file.Write(Stat("1 1 1 1 0 0 0 0 0 0", kZero, "1 1 1 1 0 0 0 0 0 0"));
  // Both samples of the short first interval see the same ticks.
  EXPECT_EQ(Kernel::GetCPUUsage(file.c_str()), 0);
}

TEST(PerfCounter, CreateKeepsThePathAndOpens) {
  std::unique_ptr<Kernel::CPerfCounter> counter(Kernel::CreateCPUCounter());
  auto* nt = dynamic_cast<Kernel::CPerfCounterNT4*>(counter.get());
  ASSERT_NE(nt, nullptr);
  EXPECT_EQ(std::wstring(nt->GetCounterPath().GetString()), L"\\Processor(0)\\% Processor Time");
  EXPECT_TRUE(nt->IsOpen());
  uint32_t value = 101;
  ASSERT_TRUE(counter->GetValue(&value));
  EXPECT_LE(value, 100u);
  const int usage = Kernel::GetCPUUsage();
  EXPECT_GE(usage, 0);
  EXPECT_LE(usage, 100);
  std::unique_ptr<Kernel::CPerfCounter> unknown(Kernel::CPerfCounter::Create(L"\\Nothing\\Here", L"KERNEL\\CPUUsage"));
  ASSERT_NE(unknown, nullptr);
  EXPECT_FALSE(unknown->GetValue(&value));
  std::unique_ptr<Kernel::CPerfCounter> null(Kernel::CPerfCounter::Create(nullptr, nullptr));
  EXPECT_FALSE(null->GetValue(&value));
}
