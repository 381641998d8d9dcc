#include <kernel/MemoryReserve.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <cstdio>
#include <cstdlib>
#include <sys/mman.h>

#ifndef MAP_FIXED_NOREPLACE
#define MAP_FIXED_NOREPLACE 0x100000
#endif

using Kernel::BottomMemoryReserver;

namespace {

constexpr uint64_t kLine = 0x100000000ull;

bool Low(const void* p) { return reinterpret_cast<uintptr_t>(p) < kLine; }

// Whether any aligned range of this size below 4 GiB can still be mapped.
bool FreeRangeBelowLine(uint64_t size) {
  for (uint64_t at = size; at + size <= kLine; at += size) {
    void* p = mmap(reinterpret_cast<void*>(at), size, PROT_NONE,
                   MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
    if (p == MAP_FAILED) continue;
    munmap(p, size);
    if (reinterpret_cast<uintptr_t>(p) == at) return true;
  }
  return false;
}

// Occupies everything below 4 GiB in 64 KiB steps, as a hostile start-up
// might, leaving nothing for the reserver but what a test frees again.
void OccupyLowSpace() {
  for (uint64_t at = 0x10000; at < kLine; at += 0x10000)
    mmap(reinterpret_cast<void*>(at), 0x10000, PROT_NONE,
         MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
}

}  // namespace

TEST(MemoryReserve, FirstReserverTakesTheLowSpaceAndReportsIt) {
  const std::string failure = nktest::RunInChild([]() -> std::string {
    nktest::LogCapture log;
    if (BottomMemoryReserver::HasRun()) return "ran already";
    BottomMemoryReserver first;
    const auto report = BottomMemoryReserver::GetReport();
    const auto messages = log.Messages();
    if (messages.size() != 1) return "expected one report line";
    char expected[1000];
    std::snprintf(expected, sizeof expected, "Reserved %1.3f MB (%d vallocs,%d heap allocs) of low-memory.\n",
                  static_cast<double>(report.bytes) / 1048576.0, report.addressRanges, report.heapBlocks);
    if (messages[0] != expected) return "report line: " + messages[0];
    if (report.addressRanges == 0 || report.bytes < (uint64_t(1) << 30)) return "reserved too little";
    if (FreeRangeBelowLine(0x100000)) return "a 1 MiB hole is left below 4 GiB";
    void* m = std::malloc(1000);
    void* big = std::malloc(16u << 20);
    void* map = mmap(nullptr, 1u << 20, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    const bool low = Low(m) || Low(big) || Low(map);
    std::free(m);
    std::free(big);
    munmap(map, 1u << 20);
    if (low) return "an allocation landed below 4 GiB";
    BottomMemoryReserver second;
    if (log.Messages().size() != 1) return "the second reserver reported";
    if (second.GetHeapBlockCount() != 0 || second.GetMallocBlockCount() != 0) return "the second reserver kept blocks";
    return "";
  });
  EXPECT_EQ(failure, "");
}

TEST(MemoryReserve, LadderFillsAHoleLargestFirst) {
  if (nktest::kThreadSanitized)
    GTEST_SKIP() << "ThreadSanitizer's runtime needs low address space of its own, which this test takes away";
  const std::string failure = nktest::RunInChild([]() -> std::string {
    OccupyLowSpace();
    // A hole of 3 MiB + 64 KiB on a 4 MiB boundary: 2 MiB fits, then 1 MiB;
    // the 64 KiB rest is below the smallest range.
    const uint64_t base = 0x40000000;
    munmap(reinterpret_cast<void*>(base), 0x310000);
    nktest::LogCapture log;
    BottomMemoryReserver reserver;
    const auto report = BottomMemoryReserver::GetReport();
    if (report.addressRanges != 2) return "ranges: " + std::to_string(report.addressRanges);
    if (report.bytes != 0x300000 + 0) return "bytes: " + std::to_string(report.bytes);
    const auto messages = log.Messages();
    if (messages.size() != 1 || messages[0] != "Reserved 3.000 MB (2 vallocs,0 heap allocs) of low-memory.\n")
      return "report: " + (messages.empty() ? std::string("none") : messages[0]);
    return "";
  });
  EXPECT_EQ(failure, "");
}
