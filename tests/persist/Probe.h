#pragma once
// A counted object that reports its destruction and the count it saw then.

#include <kernel/RefCount.h>

#include <atomic>

namespace persist_test {

struct DeathLog {
  std::atomic<int> deaths{0};
  std::atomic<int32_t> countSeenInDestructor{-12345};
};

class Probe : public Kernel::CRefCount {
 public:
  explicit Probe(DeathLog* log = nullptr, int value = 0) : m_log(log), m_value(value) {}
  ~Probe() override {
    if (!m_log) return;
    m_log->countSeenInDestructor = GetRefCount();
    ++m_log->deaths;
  }
  int Value() const { return m_value; }

 private:
  DeathLog* m_log;
  int m_value;
};

}  // namespace persist_test
