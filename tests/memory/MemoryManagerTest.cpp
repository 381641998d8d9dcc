#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>
#include <kernel/ResourceMonitor.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <algorithm>
#include <cstdio>
#include <memory>

using Kernel::MemoryManager;

namespace {

uint32_t g_now = 0;
uint32_t FakeClock() { return g_now; }

std::string ObjectName(size_t i) {
  char name[32];
  std::snprintf(name, sizeof name, "o%zu", i);
  return name;
}

// A disposable whose behaviour each test sets, and which writes what is done
// to it into a shared journal.
struct Fake : MemoryManager::IDisposable {
  Fake(std::string n, std::vector<std::string>& j) : name(std::move(n)), journal(j) {}
  void Dispose(bool toDisk) override {
    std::string entry = name;
    entry += toDisk ? ":disk" : ":mem";
    journal.push_back(entry);
    measure -= freesPerDispose;  // may wrap: a disposal that grew the object
    if (onceOnly) (toDisk ? canDisk : canMemory) = false;
  }
  void Dump() const override {
    std::string entry = "dump:";
    entry += name;
    journal.push_back(entry);
  }
  bool CanDispose(bool toDisk) override { return toDisk ? canDisk : canMemory; }
  uint32_t GetChecksum() override {
    ++checksumCalls;
    return checksum;
  }
  uint64_t Measure() const override { return measure; }

  std::string name;
  std::vector<std::string>& journal;
  uint64_t measure = 100;
  uint64_t freesPerDispose = 0;
  bool canMemory = true, canDisk = true, onceOnly = true;
  uint32_t checksum = 0;
  int checksumCalls = 0;
};

// The disposals in a journal, without the dumps of a fruitless search.
std::vector<std::string> Disposals(const std::vector<std::string>& journal) {
  std::vector<std::string> disposed;
  for (const auto& e : journal)
    if (e.rfind("dump:", 0) != 0) disposed.push_back(e);
  return disposed;
}

class ManagerTest : public ::testing::Test {
 protected:
  void SetUp() override { MemoryManager::SetTickSource(&FakeClock); }
  void TearDown() override {
    Reset();
    MemoryManager::SetTickSource(nullptr);
  }
  void Reset() {
    for (auto& f : fakes) manager.Detach(f.get());
    fakes.clear();
  }
  // Attaches a new fake at the given tick.
  Fake& Add(const std::string& name, uint32_t tick) {
    fakes.push_back(std::make_unique<Fake>(name, journal));
    g_now = tick;
    manager.Attach(fakes.back().get());
    return *fakes.back();
  }
  std::string Candidate(bool toDisk) {
    auto* c = manager.GetNextRecoveryCandidate(toDisk);
    return c == nullptr ? "none" : static_cast<Fake*>(c)->name;
  }

  MemoryManager& manager = MemoryManager::GetInstance();
  std::vector<std::unique_ptr<Fake>> fakes;
  std::vector<std::string> journal;
};

}  // namespace

TEST_F(ManagerTest, CandidateIsTheOldestEligibleWithTiesToTheEarlierRegistered) {
  struct Case {
    std::vector<uint32_t> ticks;
    std::vector<bool> eligible;
    std::string expected;
  };
  const Case cases[] = {
      {{5, 5, 5}, {true, true, true}, "o0"},
      {{7, 3, 3}, {true, true, true}, "o1"},
      {{1, 2, 3}, {false, true, true}, "o1"},
      {{0xFFFFFF00u, 0x10}, {true, true}, "o1"},           // no allowance for the wrap
      {{0xFFFFFFFFu, 0xFFFFFFFFu}, {true, true}, "none"},  // never below the start value
      {{0xFFFFFFFFu, 0xFFFFFFFEu}, {true, true}, "o1"},
      {{1, 2}, {false, false}, "none"},
  };
  for (const Case& c : cases) {
    Reset();
    for (size_t i = 0; i < c.ticks.size(); ++i) Add(ObjectName(i), c.ticks[i]).canMemory = c.eligible[i];
    journal.clear();
    EXPECT_EQ(Candidate(false), c.expected);
    // Only a fruitless search dumps every object.
    EXPECT_EQ(journal.size(), c.expected == "none" ? c.ticks.size() : 0u);
  }
}

TEST_F(ManagerTest, AttachDetachTouchAndReattach) {
  Fake& a = Add("a", 10);
  Fake& b = Add("b", 10);
  EXPECT_TRUE(manager.IsAttached(&a));
  EXPECT_EQ(Candidate(false), "a");
  manager.Attach(&a);  // same tick, but now behind b
  EXPECT_EQ(Candidate(false), "b");
  g_now = 11;
  manager.Touch(&b);
  EXPECT_EQ(Candidate(false), "a");
  manager.Detach(&a);
  EXPECT_FALSE(manager.IsAttached(&a));
  EXPECT_EQ(Candidate(false), "b");
  manager.Touch(&a);  // unknown objects are ignored
  EXPECT_FALSE(manager.IsAttached(&a));
}

TEST_F(ManagerTest, ChecksumsAreCachedAndZeroCountsAsOne) {
  Fake& a = Add("a", 1);
  Fake& b = Add("b", 1);
  Fake& c = Add("c", 1);
  a.checksum = c.checksum = 42;
  b.checksum = 0;
  EXPECT_EQ(manager.GetResourceFromChecksum(nullptr, 0), nullptr);
  EXPECT_EQ(a.checksumCalls, 0);
  EXPECT_EQ(manager.GetResourceFromChecksum(nullptr, 42), &a);
  EXPECT_EQ(manager.GetResourceFromChecksum(&a, 42), &c);
  EXPECT_EQ(manager.GetResourceFromChecksum(nullptr, 1), &b);
  EXPECT_EQ(manager.GetResourceFromChecksum(nullptr, 7), nullptr);
  EXPECT_EQ(a.checksumCalls, 1);
  a.checksum = 7;  // the cache still says 42 ...
  EXPECT_EQ(manager.GetResourceFromChecksum(nullptr, 7), nullptr);
  manager.Attach(&a);  // ... until re-attaching forgets it
  EXPECT_EQ(manager.GetResourceFromChecksum(nullptr, 7), &a);
  EXPECT_EQ(a.checksumCalls, 2);
}

TEST_F(ManagerTest, SalvageCountsFreedBytesUnsigned) {
  struct Case {
    uint64_t bytes;
    std::vector<uint64_t> frees;  // per object, oldest first
    bool result;
    std::vector<std::string> disposed;
  };
  const Case cases[] = {
      {0, {50}, true, {}},
      {50, {60, 60}, true, {"o0:mem"}},
      {100, {60, 60}, true, {"o0:mem", "o1:mem"}},
      {200, {60, 60}, false, {"o0:mem", "o1:mem"}},
      {1000, {uint64_t(-5), 1}, true, {"o0:mem"}},  // grew by 5: wraps to a huge "freed"
  };
  for (const Case& c : cases) {
    Reset();
    for (size_t i = 0; i < c.frees.size(); ++i) Add(ObjectName(i), 1 + i).freesPerDispose = c.frees[i];
    journal.clear();
    uint64_t bytes = c.bytes;
    g_now = 100;
    EXPECT_EQ(manager.Salvage(bytes, false), c.result);
    EXPECT_EQ(Disposals(journal), c.disposed) << c.bytes;
  }
}

TEST_F(ManagerTest, SalvagedObjectsMoveToTheEndAndUnfruitfulOnesDoNotHang) {
  Fake& a = Add("a", 1);
  Fake& b = Add("b", 2);
  a.onceOnly = b.onceOnly = false;  // stay eligible, free nothing
  uint64_t bytes = 10;
  g_now = 50;
  EXPECT_FALSE(manager.Salvage(bytes, false));
  EXPECT_EQ(std::count(journal.begin(), journal.end(), "a:mem"), 1);
  EXPECT_EQ(std::count(journal.begin(), journal.end(), "b:mem"), 1);
  EXPECT_EQ(bytes, 10u);
  // Both were touched by the pass; a was disposed first, so it is older.
  g_now = 60;
  manager.Touch(&a);
  EXPECT_EQ(Candidate(false), "b");
}

TEST_F(ManagerTest, ADiskPassOverRawBlocksFlushesThemAllOldestFirstAndFails) {
  nktest::TempFolder folder;
  using Block = Kernel::RefRawData<Kernel::Allocator>;
  std::vector<std::unique_ptr<Block>> blocks;
  for (uint32_t i = 0; i < 3; ++i) {
    blocks.push_back(std::make_unique<Block>(1000));
    g_now = 10 - i;  // the last attached is the oldest
    manager.Attach(blocks.back().get());
  }
  uint64_t bytes = 1;
  {
    nktest::DisposalFolder none(CString(L""));
    EXPECT_FALSE(manager.Salvage(bytes, true));
    for (auto& b : blocks) EXPECT_FALSE(b->IsFlushed());
  }
  nktest::DisposalFolder set(folder.Wide());
  g_now = 20;
  EXPECT_FALSE(manager.Salvage(bytes, true));  // the measure never drops
  for (auto& b : blocks) EXPECT_TRUE(b->IsFlushed());
  EXPECT_EQ(folder.FileCount(), 3u);
  for (auto& b : blocks) manager.Detach(b.get());
}

TEST(ManagerRecovery, NeedsTheMonitorAndGoesMemoryFirstThenDisk) {
  const std::string failure = nktest::RunInChild([]() -> std::string {
    MemoryManager& manager = MemoryManager::GetInstance();
    MemoryManager::SetTickSource(&FakeClock);
    std::vector<std::string> journal;
    Fake a("a", journal), b("b", journal);
    a.freesPerDispose = b.freesPerDispose = 10;
    g_now = 1;
    manager.Attach(&a);
    g_now = 2;
    manager.Attach(&b);
    if (manager.EmergencyManageMemory(5)) return "recovered before Init";
    const unsigned char* none = MemoryManager::ManagedAllocate(uint64_t(1) << 62);
    if (none != nullptr || !journal.empty()) return "hook recovered before Init";
    if (!Kernel::COSResourceMonitor::Init(CString(L"nk_test_memory"))) return "Init failed";
    if (!manager.EmergencyManageMemory(15)) return "no recovery";
    if (journal != std::vector<std::string>{"a:mem", "b:mem"}) return "memory pass wrong";
    a.canMemory = b.canMemory = true;
    a.measure = b.measure = 100;
    journal.clear();
    if (MemoryManager::ManagedMallocate(uint64_t(1) << 62) != nullptr) return "impossible allocation succeeded";
    if (Disposals(journal) != std::vector<std::string>{"a:mem", "b:mem", "a:disk", "b:disk"})
      return "hook ladder wrong";
    journal.clear();
    manager.ManageMemory();  // this process is far below its cap
    if (!journal.empty()) return "periodic pass disposed";
    manager.Detach(&a);
    manager.Detach(&b);
    return "";
  });
  EXPECT_EQ(failure, "");
}

TEST(ManagerFigures, CapUsageAndEstimate) {
  MemoryManager& manager = MemoryManager::GetInstance();
  EXPECT_EQ(manager.GetMemoryCap(), std::max<int64_t>(Kernel::COSResourceMonitor::GetTotalPhysicalBytes(), 524288000));
  std::vector<std::string> journal;
  Fake a("a", journal), b("b", journal);
  a.measure = 1000;
  b.measure = 234;
  const int64_t before = manager.EstimateMemoryUsage();
  manager.Attach(&a);
  manager.Attach(&b);
  EXPECT_EQ(manager.EstimateMemoryUsage() - before, 1234);
  EXPECT_GT(manager.GetMemoryUsage(), 0);
  manager.Detach(&a);
  manager.Detach(&b);
}
