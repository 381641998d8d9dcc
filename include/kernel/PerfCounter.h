#pragma once
// Performance counters for the processor load.
//
// A counter reads the interval since it was last opened: Open takes the
// first sample, GetValue takes the second, reports the share between the
// two and opens again, so consecutive readings cover consecutive intervals.
// On Linux the samples are the kernel's processor statistics (/proc/stat),
// and the counter paths understood are those of the original performance
// counters for processors:
//   "\Processor(N)\% Processor Time"   busy share of processor N
//   "\Processor(_Total)\% Processor Time"   the same over all processors
// with "% User Time", "% Privileged Time", "% Interrupt Time" and
// "% Idle Time" in place of "% Processor Time" for the parts of it. Busy is
// everything but idle and waiting for I/O. Names compare without regard to
// case. Values are whole percentages, 0 to 100.
//
// The older registry-statistics counter ("KERNEL\CPUUsage") has no Linux
// counterpart: statistic names are accepted for compatibility and ignored.
#include <kernel/Export.h>
#include <kernel/CString.h>

#include <cstdint>
#include <string>

namespace Kernel {

class NK_API CPerfCounter {
 public:
  // Makes the counter for counterPath and opens it; the caller deletes it.
  // Never null: a counter whose path is unknown or whose statistics cannot
  // be read answers false from GetValue.
  static CPerfCounter* Create(const wchar_t* counterPath, const wchar_t* statName);

  // The value over the interval since the last opening; false when it
  // cannot be read.
  virtual bool GetValue(uint32_t* out) = 0;
  virtual ~CPerfCounter();

 protected:
  virtual void Open() {}
  virtual void Close() {}
};

// The counter over the processor statistics file.
class NK_API CPerfCounterNT4 : public CPerfCounter {
 public:
  // statFile stands in for /proc/stat (a saved copy, or a test's crafted
  // file). The counter starts closed; Create opens it.
  explicit CPerfCounterNT4(const wchar_t* counterPath, const char* statFile = "/proc/stat");
  ~CPerfCounterNT4() override;

  // A counter over statFile, opened, owned by the caller.
  static CPerfCounter* Create(const wchar_t* counterPath, const char* statFile);

  bool GetValue(uint32_t* out) override;
  const CString& GetCounterPath() const { return m_counterPath; }
  bool IsOpen() const { return m_open; }

 protected:
  void Open() override;
  void Close() override;

 private:
  // Which column sum a counter reports over the whole.
  enum class Part { Unknown, Busy, User, Privileged, Interrupt, Idle };
  struct Sample {
    uint64_t part = 0;
    uint64_t total = 0;
  };
  bool TakeSample(Sample& sample) const;

  bool m_open = false;  // the first sample of the current interval is held
  Sample m_first;
  int m_processor = -1;  // -1 for all processors
  Part m_part = Part::Unknown;
  CString m_counterPath;
  std::string m_statFile;
};

// The processor-load counter: "\Processor(0)\% Processor Time".
NK_API CPerfCounter* CreateCPUCounter();
// The same over another statistics file.
NK_API CPerfCounter* CreateCPUCounter(const char* statFile);

// Processor 0's load in percent over a counter's first interval, which is
// only as long as it takes to read the statistics twice: usually 0 unless
// the processor is saturated. −1 when the counter cannot be made or read.
// For a load over a chosen interval keep a counter from CreateCPUCounter and
// read it at the interval's end.
NK_API int GetCPUUsage();
// The same over another statistics file.
NK_API int GetCPUUsage(const char* statFile);

}  // namespace Kernel
