#include <kernel/PerfCounter.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <fstream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

namespace Kernel {

namespace {

bool EqualNoCase(const std::wstring& a, const wchar_t* b) {
  const size_t n = std::wcslen(b);
  if (a.size() != n) return false;
  for (size_t i = 0; i < n; ++i)
    if (std::towlower(wint_t(a[i])) != std::towlower(wint_t(b[i]))) return false;
  return true;
}

}  // namespace

CPerfCounter::~CPerfCounter() = default;

CPerfCounter* CPerfCounter::Create(const wchar_t* counterPath, const wchar_t* statName) {
  // Every Linux system exposes the counters through the statistics file;
  // the registry statistic only existed on systems without them.
  (void)statName;
  return CPerfCounterNT4::Create(counterPath, "/proc/stat");
}

CPerfCounterNT4::CPerfCounterNT4(const wchar_t* counterPath, const char* statFile)
    : m_counterPath(counterPath ? counterPath : L""), m_statFile(statFile ? statFile : "") {
  // "\Processor(<instance>)\<counter>"
  const std::wstring path(m_counterPath.GetString());
  const std::wstring object = L"\\Processor(";
  if (path.size() <= object.size() || !EqualNoCase(path.substr(0, object.size()), object.c_str())) return;
  const size_t close = path.find(L")\\", object.size());
  if (close == std::wstring::npos) return;
  const std::wstring instance = path.substr(object.size(), close - object.size());
  const std::wstring counter = path.substr(close + 2);
  if (EqualNoCase(instance, L"_Total")) {
    m_processor = -1;
  } else {
    if (instance.empty() || instance.size() > 5) return;
    int n = 0;
    for (wchar_t c : instance) {
      if (c < L'0' || c > L'9') return;
      n = n * 10 + int(c - L'0');
    }
    m_processor = n;
  }
  if (EqualNoCase(counter, L"% Processor Time"))
    m_part = Part::Busy;
  else if (EqualNoCase(counter, L"% User Time"))
    m_part = Part::User;
  else if (EqualNoCase(counter, L"% Privileged Time"))
    m_part = Part::Privileged;
  else if (EqualNoCase(counter, L"% Interrupt Time"))
    m_part = Part::Interrupt;
  else if (EqualNoCase(counter, L"% Idle Time"))
    m_part = Part::Idle;
}

CPerfCounterNT4::~CPerfCounterNT4() { CPerfCounterNT4::Close(); }

CPerfCounter* CPerfCounterNT4::Create(const wchar_t* counterPath, const char* statFile) {
  auto* counter = new CPerfCounterNT4(counterPath, statFile);
  counter->Open();
  return counter;
}

// One line of the statistics file: "cpu" or "cpuN" followed by the time
// spent in user, nice, system, idle, iowait, irq, softirq, steal, guest and
// guest_nice, in clock ticks. Older kernels stop after idle; the guest
// columns are already inside user and nice and are not added again.
bool CPerfCounterNT4::TakeSample(Sample& sample) const {
  if (m_part == Part::Unknown) return false;
  std::ifstream in(m_statFile);
  if (!in) return false;
  const std::string wanted = m_processor < 0 ? std::string("cpu") : "cpu" + std::to_string(m_processor);
  std::string line;
  while (std::getline(in, line)) {
    std::istringstream fields(line);
    std::string name;
    fields >> name;
    if (name != wanted) continue;
    std::vector<uint64_t> v;
    std::string word;
    while (v.size() < 8 && fields >> word) {
      if (word.empty() || word.find_first_not_of("0123456789") != std::string::npos) return false;
      v.push_back(std::strtoull(word.c_str(), nullptr, 10));
    }
    if (v.size() < 4) return false;
    v.resize(8, 0);
    const uint64_t user = v[0] + v[1], system = v[2], idle = v[3] + v[4], interrupt = v[5] + v[6], steal = v[7];
    sample.total = user + system + idle + interrupt + steal;
    switch (m_part) {
      case Part::Busy:
        sample.part = sample.total - idle;
        break;
      case Part::User:
        sample.part = user;
        break;
      case Part::Privileged:
        sample.part = system + interrupt;
        break;
      case Part::Interrupt:
        sample.part = interrupt;
        break;
      case Part::Idle:
        sample.part = idle;
        break;
      case Part::Unknown:
        return false;
    }
    return true;
  }
  return false;
}

void CPerfCounterNT4::Open() {
  Close();
  m_open = TakeSample(m_first);
}

void CPerfCounterNT4::Close() {
  m_open = false;
  m_first = Sample();
}

bool CPerfCounterNT4::GetValue(uint32_t* out) {
  bool ok = false;
  Sample second;
  if (m_open && out && TakeSample(second)) {
    // The kernel's iowait column may step backwards a little (it is an
    // estimate on tickless systems), so differences are clamped rather than
    // trusted to grow.
    const int64_t total = int64_t(second.total) - int64_t(m_first.total);
    const int64_t part = int64_t(second.part) - int64_t(m_first.part);
    int64_t percent = 0;
    // No tick elapsed: nothing was seen running.
    if (total > 0 && part > 0) percent = (part * 200 + total) / (total * 2);
    if (percent > 100) percent = 100;
    *out = uint32_t(percent);
    ok = true;
  }
  // The next reading covers the interval from here on.
  Close();
  Open();
  return ok;
}

CPerfCounter* CreateCPUCounter() {
  return CPerfCounter::Create(L"\\Processor(0)\\% Processor Time", L"KERNEL\\CPUUsage");
}

CPerfCounter* CreateCPUCounter(const char* statFile) {
  return CPerfCounterNT4::Create(L"\\Processor(0)\\% Processor Time", statFile);
}

int GetCPUUsage(const char* statFile) {
  std::unique_ptr<CPerfCounter> counter(CreateCPUCounter(statFile));
  uint32_t value = 0;
  if (!counter || !counter->GetValue(&value)) return -1;
  return int(value);
}

int GetCPUUsage() { return GetCPUUsage("/proc/stat"); }

}  // namespace Kernel
