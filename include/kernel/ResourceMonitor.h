#pragma once
// The process's view of memory: what the machine has available and what this
// process uses, read from the system's own accounting.
//
// Sources on Linux:
// - available bytes: MemAvailable of /proc/meminfo, the kernel's estimate of
//   memory that can be handed out without swapping (free memory plus the
//   reclaimable caches), which is what "available" means to a user;
// - private bytes: RssAnon + VmSwap of /proc/self/status, the anonymous
//   memory that belongs to this process alone, whether in RAM or swapped out.
//   That is the memory only this process's frees can give back. VmData would
//   count address space that was reserved but never touched, and the file
//   backed and shared parts (RssFile, RssShmem) can be dropped or are shared;
// - working set: VmRSS of /proc/self/status, every page of the process that
//   is resident in RAM, shared or not.
#include <kernel/CString.h>
#include <kernel/Export.h>

#include <atomic>
#include <cstdint>
#include <mutex>

namespace Kernel {

class NK_API COSResourceMonitor {
 public:
  static COSResourceMonitor& GetInstance();

  // Starts monitoring. The process name identifies the process to the
  // system's counters; here the counters always describe the calling process,
  // and the name is kept for reports (GetProcessName). False when the
  // system's memory accounting cannot be read.
  static bool Init(const CString& processName);
  bool IsInitialised() const { return m_initialised.load(std::memory_order_acquire); }
  CString GetProcessName() const;

  // -1 before Init; 0x0FFFFFFFFFFFFFFF when the figure cannot be read.
  int64_t GetAvailableBytes() const;
  // 0 before Init or when the figure cannot be read.
  int64_t GetPrivateBytesUsedByApp() const;
  int64_t GetWorkingSetUsedByApp() const;

  // Milliseconds of a monotonic clock, cut to 32 bits (wraps after about
  // 49.7 days), the clock of the memory manager's ticks.
  static uint32_t GetTickCount();
  // The machine's physical memory in bytes.
  static int64_t GetTotalPhysicalBytes();

  COSResourceMonitor(const COSResourceMonitor&) = delete;
  COSResourceMonitor& operator=(const COSResourceMonitor&) = delete;

 private:
  COSResourceMonitor() = default;

  mutable std::mutex m_lock;
  CString m_processName;
  std::atomic<bool> m_initialised{false};
};

}  // namespace Kernel
