#include <kernel/ResourceMonitor.h>

#include <cstdio>
#include <cstring>
#include <ctime>
#include <unistd.h>

namespace Kernel {
namespace {

constexpr int64_t kUnreadable = 0x0FFFFFFFFFFFFFFFll;

// Reads "Key:   123 kB" fields from a /proc file. Each wanted key is given
// with its colon; values are returned in bytes, -1 for a key not found.
bool ReadKiBFields(const char* file, const char* const* keys, int64_t* values, int count) {
  std::FILE* f = std::fopen(file, "re");
  if (f == nullptr) return false;
  for (int i = 0; i < count; ++i) values[i] = -1;
  char line[256];
  while (std::fgets(line, sizeof line, f) != nullptr) {
    for (int i = 0; i < count; ++i) {
      const size_t len = std::strlen(keys[i]);
      if (std::strncmp(line, keys[i], len) != 0) continue;
      long long kib = 0;
      if (std::sscanf(line + len, "%lld", &kib) == 1) values[i] = static_cast<int64_t>(kib) * 1024;
    }
  }
  std::fclose(f);
  return true;
}

int64_t ReadAvailable() {
  static const char* const keys[] = {"MemAvailable:"};
  int64_t value = -1;
  if (!ReadKiBFields("/proc/meminfo", keys, &value, 1) || value < 0) return kUnreadable;
  return value;
}

// {private bytes, working set}, zeros when unreadable.
void ReadProcess(int64_t& privateBytes, int64_t& workingSet) {
  static const char* const keys[] = {"RssAnon:", "VmSwap:", "VmRSS:"};
  int64_t v[3];
  privateBytes = workingSet = 0;
  if (!ReadKiBFields("/proc/self/status", keys, v, 3)) return;
  if (v[0] >= 0) privateBytes = v[0] + (v[1] > 0 ? v[1] : 0);
  if (v[2] >= 0) workingSet = v[2];
}

}  // namespace

COSResourceMonitor& COSResourceMonitor::GetInstance() {
  static COSResourceMonitor instance;
  return instance;
}

bool COSResourceMonitor::Init(const CString& processName) {
  COSResourceMonitor& self = GetInstance();
  int64_t privateBytes = 0, workingSet = 0;
  ReadProcess(privateBytes, workingSet);
  if (ReadAvailable() == kUnreadable || workingSet == 0) return false;
  std::lock_guard<std::mutex> hold(self.m_lock);
  self.m_processName = processName;
  self.m_initialised.store(true, std::memory_order_release);
  return true;
}

CString COSResourceMonitor::GetProcessName() const {
  std::lock_guard<std::mutex> hold(m_lock);
  return m_processName;
}

int64_t COSResourceMonitor::GetAvailableBytes() const {
  if (!IsInitialised()) return -1;
  return ReadAvailable();
}

int64_t COSResourceMonitor::GetPrivateBytesUsedByApp() const {
  if (!IsInitialised()) return 0;
  int64_t privateBytes = 0, workingSet = 0;
  ReadProcess(privateBytes, workingSet);
  return privateBytes;
}

int64_t COSResourceMonitor::GetWorkingSetUsedByApp() const {
  if (!IsInitialised()) return 0;
  int64_t privateBytes = 0, workingSet = 0;
  ReadProcess(privateBytes, workingSet);
  return workingSet;
}

uint32_t COSResourceMonitor::GetTickCount() {
  timespec now;
  clock_gettime(CLOCK_MONOTONIC, &now);
  const uint64_t ms = static_cast<uint64_t>(now.tv_sec) * 1000u + static_cast<uint64_t>(now.tv_nsec) / 1000000u;
  return static_cast<uint32_t>(ms);
}

int64_t COSResourceMonitor::GetTotalPhysicalBytes() {
  const long pages = sysconf(_SC_PHYS_PAGES);
  const long pageSize = sysconf(_SC_PAGESIZE);
  if (pages <= 0 || pageSize <= 0) return 0;
  return static_cast<int64_t>(pages) * pageSize;
}

}  // namespace Kernel
