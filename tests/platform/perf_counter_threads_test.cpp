// Counters and processor identification used from several threads: a busy
// thread pinned to processor 0 must show in that processor's load, and the
// process-wide answers must be the same whichever thread asks first.
#include <gtest/gtest.h>

#include <kernel/CPU.h>
#include <kernel/PerfCounter.h>

#include <pthread.h>
#include <sched.h>

#include <atomic>
#include <chrono>
#include <memory>
#include <thread>
#include <vector>

namespace {

bool MayRunOnProcessorZero() {
  cpu_set_t set;
  CPU_ZERO(&set);
  return sched_getaffinity(0, sizeof set, &set) == 0 && CPU_ISSET(0, &set);
}

// Spins on processor 0 until stopped.
class BusyThread {
 public:
  BusyThread() : thread_([this] { Run(); }) {}
  ~BusyThread() {
    stop_ = true;
    thread_.join();
  }
  bool Pinned() {
    while (!started_) std::this_thread::yield();
    return pinned_;
  }

 private:
  void Run() {
    cpu_set_t one;
    CPU_ZERO(&one);
    CPU_SET(0, &one);
    pinned_ = pthread_setaffinity_np(pthread_self(), sizeof one, &one) == 0;
    started_ = true;
    volatile uint64_t x = 1;
    while (!stop_) x = x * 6364136223846793005ull + 1442695040888963407ull;
  }
  std::atomic<bool> stop_{false}, started_{false}, pinned_{false};
  std::thread thread_;
};

}  // namespace

TEST(PerfCounterThreads, BusyProcessorShowsInTwoIntervals) {
  if (!MayRunOnProcessorZero()) GTEST_SKIP() << "processor 0 is outside this process's affinity";
  std::unique_ptr<Kernel::CPerfCounter> counter(Kernel::CreateCPUCounter());
  BusyThread busy;
  ASSERT_TRUE(busy.Pinned());
  // The counter opened before the thread started; start a clean interval.
  uint32_t value = 0;
  ASSERT_TRUE(counter->GetValue(&value));
  for (int interval = 0; interval < 2; ++interval) {
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    value = 1000;
    ASSERT_TRUE(counter->GetValue(&value)) << interval;
    EXPECT_LE(value, 100u) << interval;
    // The pinned thread alone keeps the processor busy for the whole interval.
    EXPECT_GE(value, 50u) << interval;
  }
}

TEST(CPUDetectorThreads, FirstDetectionFromManyThreads) {
  constexpr int kThreads = 8;
  std::vector<Kernel::CPU*> seen(kThreads, nullptr);
  std::vector<int> answers(kThreads, -1);
  std::atomic<bool> go{false};
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      while (!go) std::this_thread::yield();
      seen[t] = &Kernel::CPUDetector::DetectCPU();
      answers[t] = int(Kernel::IsSSE2Available()) | int(Kernel::IsAVXAvailable()) << 1 |
                   int(Kernel::GetNumberOfCPUs(true) == Kernel::IPP::GetInstance().GetNumberOfProcessors()) << 2;
    });
  }
  go = true;
  for (auto& th : threads) th.join();
  for (int t = 1; t < kThreads; ++t) {
    EXPECT_EQ(seen[t], seen[0]);
    EXPECT_EQ(answers[t], answers[0]);
  }
  EXPECT_TRUE(answers[0] & 4);
}
