// Counting processors from the kernel's topology folders and the process's
// affinity mask.
#include <kernel/CPU.h>

#include <sched.h>
#include <unistd.h>

#include <cctype>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace Kernel {

namespace {

bool ReadFirstLine(const std::filesystem::path& file, std::string& line) {
  std::ifstream in(file);
  if (!in) return false;
  std::getline(in, line);
  while (!line.empty() && std::isspace(static_cast<unsigned char>(line.back()))) line.pop_back();
  return true;
}

// A kernel CPU list: "0-3,8,10-11". False on anything else, so a damaged
// file counts as unreadable rather than as a smaller machine.
bool ParseCpuList(const std::string& text, std::vector<unsigned>& cpus) {
  cpus.clear();
  if (text.empty()) return false;
  std::stringstream ss(text);
  std::string part;
  while (std::getline(ss, part, ',')) {
    const char* p = part.c_str();
    char* end = nullptr;
    if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
    const unsigned long first = std::strtoul(p, &end, 10);
    unsigned long last = first;
    if (*end == '-') {
      p = end + 1;
      if (!std::isdigit(static_cast<unsigned char>(*p))) return false;
      last = std::strtoul(p, &end, 10);
    }
    // 1 << 16 processors is far beyond any machine; larger means garbage.
    if (*end != '\0' || last < first || last >= (1ul << 16)) return false;
    for (unsigned long c = first; c <= last; ++c) cpus.push_back(unsigned(c));
  }
  return !cpus.empty();
}

std::vector<unsigned> ListProcessors(const std::filesystem::path& folder) {
  std::vector<unsigned> cpus;
  std::string line;
  if (ReadFirstLine(folder / "online", line) && ParseCpuList(line, cpus)) return cpus;
  cpus.clear();
  std::error_code ec;
  for (const auto& entry : std::filesystem::directory_iterator(folder, ec)) {
    const std::string name = entry.path().filename().string();
    if (name.size() < 4 || name.compare(0, 3, "cpu") != 0) continue;
    bool digits = true;
    for (size_t i = 3; i < name.size(); ++i) digits = digits && std::isdigit(static_cast<unsigned char>(name[i]));
    if (digits) cpus.push_back(unsigned(std::strtoul(name.c_str() + 3, nullptr, 10)));
  }
  return cpus;
}

// The identity of the core a processor belongs to: the set of its thread
// siblings, or failing that its package and core numbers.
bool CoreKey(const std::filesystem::path& topology, std::string& key) {
  std::string line;
  std::vector<unsigned> siblings;
  for (const char* name : {"thread_siblings_list", "core_cpus_list"}) {
    if (ReadFirstLine(topology / name, line) && ParseCpuList(line, siblings)) {
      const std::set<unsigned> sorted(siblings.begin(), siblings.end());
      std::ostringstream k;
      k << 's';
      for (unsigned c : sorted) k << ':' << c;
      key = k.str();
      return true;
    }
  }
  std::string package, core;
  if (ReadFirstLine(topology / "core_id", core) && !core.empty()) {
    if (!ReadFirstLine(topology / "physical_package_id", package)) package.clear();
    std::ostringstream k;
    k << 'p' << package << ':' << core;
    key = k.str();
    return true;
  }
  return false;
}

struct Counts {
  uint32_t cores;
  uint32_t logical;
};

Counts MachineCounts() {
  static const Counts counts = [] {
    Counts c{0, 0};
    if (!ReadProcessorTopology("/sys/devices/system/cpu", c.cores, c.logical)) {
      const long online = sysconf(_SC_NPROCESSORS_ONLN);
      c.cores = c.logical = online > 0 ? uint32_t(online) : 1;
    }
    return c;
  }();
  return counts;
}

}  // namespace

bool ReadProcessorTopology(const char* cpuFolder, uint32_t& cores, uint32_t& logical) {
  cores = logical = 0;
  if (!cpuFolder) return false;
  const std::filesystem::path folder(cpuFolder);
  std::set<std::string> coreKeys;
  uint32_t seen = 0;
  for (unsigned cpu : ListProcessors(folder)) {
    std::string key;
    if (!CoreKey(folder / ("cpu" + std::to_string(cpu)) / "topology", key)) continue;
    coreKeys.insert(key);
    ++seen;
  }
  if (coreKeys.empty()) return false;
  cores = uint32_t(coreKeys.size());
  logical = seen;
  return true;
}

uint32_t GetNumberOfCPUs(bool logical) {
  const Counts c = MachineCounts();
  return logical ? c.logical : c.cores;
}

uint32_t GetNumberOfCPUsWithAffinity() {
  // The mask's size is not known in advance on large machines: grow the set
  // until the kernel accepts it.
  for (int size = 1024; size <= (1 << 17); size *= 2) {
    cpu_set_t* set = CPU_ALLOC(size);
    if (!set) return 0;
    const size_t bytes = CPU_ALLOC_SIZE(size);
    CPU_ZERO_S(bytes, set);
    if (sched_getaffinity(getpid(), bytes, set) == 0) {
      const int count = CPU_COUNT_S(bytes, set);
      CPU_FREE(set);
      return uint32_t(count);
    }
    const int error = errno;
    CPU_FREE(set);
    if (error != EINVAL) return 0;
  }
  return 0;
}

IPP::IPP() : m_logical(GetNumberOfCPUs(true)), m_cores(GetNumberOfCPUs(false)) {
  const uint32_t usable = GetNumberOfCPUsWithAffinity();
  m_usable = usable ? usable : m_logical;
}

IPP& IPP::GetInstance() {
  static IPP instance;
  return instance;
}

}  // namespace Kernel
