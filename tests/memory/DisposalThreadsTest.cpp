#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <atomic>
#include <barrier>
#include <memory>
#include <thread>

using Kernel::MemoryManager;
using Block = Kernel::RefRawData<Kernel::Allocator>;

namespace {

constexpr size_t kBlockBytes = 256 * 1024;

unsigned char Pattern(size_t block, size_t i, unsigned generation) {
  return static_cast<unsigned char>((block * 131 + i * 7 + generation * 29) ^ (i >> 8));
}

void Fill(Block& b, size_t id, unsigned generation) {
  unsigned char* p = b.GetData();
  for (size_t i = 0; i < b.GetSize(); ++i) p[i] = Pattern(id, i, generation);
}

bool Check(const Block& b, size_t id, unsigned generation) {
  const unsigned char* p = b.GetConstData();
  if (p == nullptr || b.GetSize() != kBlockBytes) return false;
  for (size_t i = 0; i < b.GetSize(); ++i)
    if (p[i] != Pattern(id, i, generation)) return false;
  return true;
}

}  // namespace

// Every thread flushes and restores its own blocks while all of them share
// the manager's register, the disposal folder and the counters.
TEST(DisposalThreads, OwnersFlushAndRestoreConcurrently) {
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  MemoryManager& manager = MemoryManager::GetInstance();
  constexpr int kThreads = 4, kBlocksEach = 4, kRounds = 20;
  std::atomic<int> failures{0};
  std::atomic<bool> done{false};
  std::thread observer([&] {
    while (!done.load()) {
      manager.EstimateMemoryUsage();
      manager.GetNextRecoveryCandidate(false);  // raw blocks never give way in memory
      std::this_thread::yield();
    }
  });
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::vector<std::unique_ptr<Block>> blocks;
      std::vector<unsigned> generation(kBlocksEach, 0);
      for (int k = 0; k < kBlocksEach; ++k) {
        blocks.push_back(std::make_unique<Block>(kBlockBytes));
        Fill(*blocks.back(), t * 100 + k, 0);
        manager.Attach(blocks.back().get());
      }
      for (int r = 0; r < kRounds; ++r) {
        const int k = (r * 3 + t) % kBlocksEach;
        if (!blocks[k]->FlushToDisk()) ++failures;
        if (!Check(*blocks[k], t * 100 + k, generation[k])) ++failures;
        Fill(*blocks[k], t * 100 + k, ++generation[k]);
        manager.Touch(blocks[k].get());
      }
      for (auto& b : blocks) manager.Detach(b.get());
    });
  }
  for (auto& th : threads) th.join();
  done = true;
  observer.join();
  EXPECT_EQ(failures.load(), 0);
  EXPECT_EQ(folder.FileCount(), 0u);
}

// The manager flushes everybody's blocks from several threads at once; then
// every owner reads its blocks back at the same time.
TEST(DisposalThreads, ManagerFlushesThenOwnersRestoreConcurrently) {
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  MemoryManager& manager = MemoryManager::GetInstance();
  constexpr int kThreads = 4, kBlocksEach = 5;
  const auto before = Kernel::GetDisposalStatistics();
  std::atomic<int> failures{0};
  std::barrier sync(kThreads);
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) {
    threads.emplace_back([&, t] {
      std::vector<std::unique_ptr<Block>> blocks;
      for (int k = 0; k < kBlocksEach; ++k) {
        blocks.push_back(std::make_unique<Block>(kBlockBytes));
        Fill(*blocks.back(), t * 100 + k, 7);
        manager.Attach(blocks.back().get());  // hands off until the barrier
      }
      uint64_t bytes = 1;
      manager.Salvage(bytes, true);
      sync.arrive_and_wait();
      // Everything attached was flushed by one thread or another.
      for (auto& b : blocks)
        if (!b->IsFlushed()) ++failures;
      sync.arrive_and_wait();
      for (int k = 0; k < kBlocksEach; ++k) {
        manager.Detach(blocks[k].get());
        if (!Check(*blocks[k], t * 100 + k, 7)) ++failures;
      }
    });
  }
  for (auto& th : threads) th.join();
  EXPECT_EQ(failures.load(), 0);
  const auto after = Kernel::GetDisposalStatistics();
  EXPECT_EQ(after.flushes - before.flushes, uint64_t(kThreads * kBlocksEach));
  EXPECT_EQ(after.restores - before.restores, uint64_t(kThreads * kBlocksEach));
  EXPECT_EQ(folder.FileCount(), 0u);
}

// Readers racing for one flushed block: one of them reads it back, all see
// the same bytes.
TEST(DisposalThreads, ManyReadersRestoreOneBlockOnce) {
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  Block shared(kBlockBytes);
  Fill(shared, 9, 1);
  for (int round = 0; round < 5; ++round) {
    ASSERT_TRUE(shared.FlushToDisk());
    const auto before = Kernel::GetDisposalStatistics();
    std::atomic<int> failures{0};
    std::vector<std::thread> readers;
    for (int t = 0; t < 4; ++t)
      readers.emplace_back([&] {
        if (!Check(shared, 9, 1)) ++failures;
      });
    for (auto& th : readers) th.join();
    EXPECT_EQ(failures.load(), 0);
    EXPECT_EQ(Kernel::GetDisposalStatistics().restores - before.restores, 1u);
  }
}
