#include <kernel/CObject.h>
#include <kernel/CString.h>
#include <kernel/Sync.h>

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace {

constexpr int kThreads = 4;

// Runs body(t) on kThreads threads at once and waits for all of them.
template <typename F>
void OnThreads(F body) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(body, t);
  for (auto& th : threads) th.join();
}

TEST(PlatformThreads, SharedStringBuffersSurviveConcurrentCopiesAndChanges) {
  const CString source(L"a string shared by every thread");
  std::atomic<int> bad{0};
  OnThreads([&](int t) {
    CString mine;
    for (int i = 0; i < 20000; ++i) {
      CString copy = source;             // shares the buffer
      mine = copy;                       // assign: count up and down
      if (i % 7 == t) mine.MakeUpper();  // copy-on-write away from the shared buffer
      CString other(std::move(copy));
      if (other.GetLength() != source.GetLength()) ++bad;
      if (i % 7 != t && mine.GetString() != source.GetString()) ++bad;
    }
  });
  EXPECT_EQ(bad.load(), 0);
  EXPECT_STREQ(source, L"a string shared by every thread");
}

TEST(PlatformThreads, CriticalSectionSerialisesAndIsRecursive) {
  CCriticalSection cs;
  long counter = 0;  // guarded by cs
  OnThreads([&](int) {
    for (int i = 0; i < 10000; ++i) {
      CSingleLock outer(&cs, TRUE);
      CSingleLock inner(&cs, TRUE);  // the same thread may enter again
      ++counter;
    }
  });
  EXPECT_EQ(counter, 10000L * kThreads);
}

TEST(PlatformThreads, SingleLockUnlocksOnlyWhatItLocked) {
  CCriticalSection cs;
  {
    CSingleLock lock(&cs);
    EXPECT_FALSE(lock.IsLocked());
    EXPECT_TRUE(lock.Lock());
    EXPECT_TRUE(lock.IsLocked());
    EXPECT_TRUE(lock.Lock());  // no second acquisition through the same lock
    EXPECT_TRUE(lock.Unlock());
    EXPECT_FALSE(lock.IsLocked());
  }
  // Another thread can take it now: nothing was left locked.
  bool taken = false;
  std::thread([&] {
    taken = cs.TryLock();
    if (taken) cs.Unlock();
  }).join();
  EXPECT_TRUE(taken);
}

TEST(PlatformThreads, ClassLookupFromManyThreads) {
  std::atomic<int> found{0};
  OnThreads([&](int) {
    for (int i = 0; i < 2000; ++i) {
      if (CRuntimeClass::FromName("CSquare")) ++found;
      if (CRuntimeClass::FromName("NoSuchClass")) --found;
    }
  });
  EXPECT_EQ(found.load(), 2000 * kThreads);
}

}  // namespace
