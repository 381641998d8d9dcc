#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>
#include <kernel/ResourceMonitor.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <malloc.h>
#include <memory>
#include <random>
#include <sys/resource.h>

using Kernel::MemoryManager;
using Block = Kernel::RefRawData<Kernel::Allocator>;

namespace {

// The bytes of block `id` in its `generation`th filling: cheap to produce,
// different in every block, every generation and every 8-byte word.
uint64_t Word(uint64_t id, uint64_t generation, uint64_t i) {
  uint64_t x = (id << 40) ^ (generation << 32) ^ i;
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdull;
  x ^= x >> 29;
  return x;
}

void Fill(Block& b, uint64_t id, uint64_t generation) {
  auto* p = reinterpret_cast<uint64_t*>(b.GetData());
  for (uint64_t i = 0; i < b.GetSize() / 8; ++i) p[i] = Word(id, generation, i);
}

bool Verify(const Block& b, uint64_t id, uint64_t generation) {
  const auto* p = reinterpret_cast<const uint64_t*>(b.GetConstData());
  if (p == nullptr) return false;
  for (uint64_t i = 0; i < b.GetSize() / 8; ++i)
    if (p[i] != Word(id, generation, i)) return false;
  return true;
}

uint64_t AddressSpaceInUse() {
  std::FILE* f = std::fopen("/proc/self/statm", "r");
  unsigned long long pages = 0;
  if (f != nullptr) {
    if (std::fscanf(f, "%llu", &pages) != 1) pages = 0;
    std::fclose(f);
  }
  return pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

}  // namespace

// Far more blocks than the address space limit allows: the allocation hooks
// have to write the least recently used blocks out for every allocation to
// succeed, and every byte has to come back.
TEST(MemoryPressure, BlocksBeyondTheAddressSpaceLimitAllSurvive) {
  if (nktest::kSanitized)
    GTEST_SKIP() << "the sanitizer runtimes reserve terabytes of shadow memory, so no address space limit can hold";
  // With the C library's allocator as it comes, and with large blocks always
  // mapped on their own. glibc raises its mapping threshold as large blocks
  // are freed and then serves them from the brk heap, whose address space,
  // once fragmented by small allocations in between, is never given back:
  // under an address-space limit a larger block (a grown one) may then find
  // no room although almost nothing is in use. A host that grows blocks under
  // such a limit fixes the threshold, as the later runs do, and only they grow
  // blocks. The last run's blocks are large enough to be read back through
  // mappings of their files, which the limit leaves room for only some of the
  // time; the others must fall back to reading.
  struct Run {
    bool fixedThreshold;
    uint64_t blockBytes;
    int blocks;  // 192 MiB in all against a 40 MiB allowance
  };
  for (const Run run : {Run{false, 4u << 20, 48}, Run{true, 4u << 20, 48}, Run{true, 12u << 20, 16}}) {
    nktest::TempFolder folder;
    const CString wide = folder.Wide();
    const std::string failure = nktest::RunInChild([&]() -> std::string {
      if (run.fixedThreshold) mallopt(M_MMAP_THRESHOLD, 256 * 1024);
      MemoryManager& manager = MemoryManager::GetInstance();
      manager.SetDisposalPath(wide);
      if (!Kernel::COSResourceMonitor::Init(CString(L"nk_test_memory"))) return "Init failed";
      rlimit limit;
      getrlimit(RLIMIT_AS, &limit);
      limit.rlim_cur = AddressSpaceInUse() + (40u << 20);
      if (setrlimit(RLIMIT_AS, &limit) != 0) return "setrlimit failed";

      std::vector<std::unique_ptr<Block>> blocks;
      std::vector<uint64_t> generation(static_cast<size_t>(run.blocks), 0);
      for (int i = 0; i < run.blocks; ++i) {
        blocks.push_back(std::make_unique<Block>(run.blockBytes));
        if (blocks.back()->GetSize() != run.blockBytes) return "allocation " + std::to_string(i) + " failed";
        Fill(*blocks.back(), i, 0);
        manager.Attach(blocks.back().get());
      }
      std::mt19937 random(12345);
      for (int touch = 0; touch < 150; ++touch) {
        const int i = static_cast<int>(random() % static_cast<unsigned>(run.blocks));
        manager.Touch(blocks[i].get());
        if (!Verify(*blocks[i], i, generation[i])) return "block " + std::to_string(i) + " came back wrong";
        if (touch % 3 == 0) Fill(*blocks[i], i, ++generation[i]);
        // Growing under pressure must not lose the bytes it copies.
        if (run.fixedThreshold && touch % 50 == 25) {
          if (!blocks[i]->SetSizeGrow(run.blockBytes + 8)) return "growth failed";
          if (!blocks[i]->SetSize(run.blockBytes)) return "shrink failed";
          if (!Verify(*blocks[i], i, generation[i])) return "growth lost bytes";
        }
      }
      for (int i = 0; i < run.blocks; ++i)
        if (!Verify(*blocks[i], i, generation[i])) return "final check of block " + std::to_string(i);
      const auto stats = Kernel::GetDisposalStatistics();
      if (stats.flushes < static_cast<uint64_t>(run.blocks)) return "too few flushes: " + std::to_string(stats.flushes);
      if (stats.restores == 0 || stats.missingFiles != 0) return "restores wrong";
      for (auto& b : blocks) manager.Detach(b.get());
      blocks.clear();
      return "";
    });
    EXPECT_EQ(failure, "") << (run.fixedThreshold ? "with" : "without") << " a fixed mapping threshold, blocks of "
                           << (run.blockBytes >> 20) << " MiB";
    EXPECT_EQ(folder.FileCount(), 0u);
  }
}
