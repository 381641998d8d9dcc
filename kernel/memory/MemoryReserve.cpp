#include <kernel/MemoryReserve.h>

#include <kernel/DiagnosticLog.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <new>
#include <sys/mman.h>
#include <unistd.h>

#ifndef MAP_FIXED_NOREPLACE
#define MAP_FIXED_NOREPLACE 0x100000
#endif

namespace Kernel {
namespace {

constexpr uint64_t kLine = 0x100000000ull;      // 4 GiB
constexpr uint64_t kLargestRange = 0x10000000;  // 256 MiB
constexpr uint64_t kSmallestRange = 0x100000;   // 1 MiB
constexpr size_t kLargestBlock = 0x10000;       // 64 KiB
constexpr size_t kSmallestBlock = 16;

std::atomic<bool> g_reserverRan{false};
std::mutex g_reserveLock;
bool g_routineRan = false;  // guarded by g_reserveLock
BottomMemoryReserver::Report g_report;

bool Below(const void* p, uint64_t size) { return reinterpret_cast<uintptr_t>(p) + size <= kLine; }

// The lowest address the kernel lets a process map.
uint64_t LowestMappable() {
  uint64_t lowest = 0x10000;
  if (std::FILE* f = std::fopen("/proc/sys/vm/mmap_min_addr", "re")) {
    unsigned long long v = 0;
    if (std::fscanf(f, "%llu", &v) == 1 && v > lowest) lowest = v;
    std::fclose(f);
  }
  const auto page = static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
  return (lowest + page - 1) / page * page;
}

// One inaccessible reservation of size bytes below 4 GiB, or null. Candidate
// addresses are tried in steps of the size itself: asking for an exact place
// (MAP_FIXED_NOREPLACE) fails cleanly when anything is mapped there. A kernel
// too old for that flag treats the address as a hint and may put the mapping
// anywhere; one that lands above the line is given back at once.
void* ReserveBelowLine(uint64_t size, uint64_t& cursor) {
  for (uint64_t at = (cursor + size - 1) / size * size; at + size <= kLine; at += size) {
    if (at == 0) continue;
    void* want = reinterpret_cast<void*>(at);
    void* got = mmap(want, size, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE | MAP_FIXED_NOREPLACE, -1, 0);
    if (got == MAP_FAILED) continue;
    if (Below(got, size)) {
      cursor = reinterpret_cast<uintptr_t>(got) + size;
      return got;
    }
    munmap(got, size);
  }
  return nullptr;
}

template <class Allocate, class Release>
void FillHeap(std::vector<void*>& kept, uint64_t& total, Allocate allocate, Release release) {
  for (size_t size = kLargestBlock; size >= kSmallestBlock; size /= 2) {
    for (;;) {
      void* p = allocate(size);
      if (p == nullptr) break;
      if (!Below(p, size)) {
        release(p);
        break;
      }
      kept.push_back(p);
      total += size;
    }
  }
}

}  // namespace

struct BottomMemoryReserver::Blocks {
  std::vector<void*> heap;    // from the C++ free store
  std::vector<void*> malloc;  // from malloc
  ~Blocks() {
    for (void* p : heap) ::operator delete(p, std::nothrow);
    for (void* p : malloc) std::free(p);
  }
};

BottomMemoryReserver::BottomMemoryReserver() : m_blocks(std::make_shared<Blocks>()) {
  if (g_reserverRan.load(std::memory_order_acquire)) return;
  std::lock_guard<std::mutex> hold(g_reserveLock);
  if (!g_routineRan) {
    g_routineRan = true;
    Report report;
    // Address space first, largest ranges first, so that the holes left
    // for the heap blocks are as few and small as possible.
    uint64_t floor = LowestMappable();
    for (uint64_t size = kLargestRange; size >= kSmallestRange; size /= 2) {
      uint64_t cursor = floor;
      while (ReserveBelowLine(size, cursor) != nullptr) {
        ++report.addressRanges;
        report.bytes += size;
      }
    }
    FillHeap(
        m_blocks->heap, report.bytes, [](size_t n) { return ::operator new(n, std::nothrow); },
        [](void* p) { ::operator delete(p, std::nothrow); });
    FillHeap(
        m_blocks->malloc, report.bytes, [](size_t n) { return std::malloc(n); }, [](void* p) { std::free(p); });
    report.heapBlocks = static_cast<int>(m_blocks->heap.size());
    report.mallocBlocks = static_cast<int>(m_blocks->malloc.size());
    g_report = report;
    char line[1000];
    std::snprintf(line, sizeof line, "Reserved %1.3f MB (%d vallocs,%d heap allocs) of low-memory.\n",
                  static_cast<double>(report.bytes) * (1.0 / 1048576.0), report.addressRanges, report.heapBlocks);
    DiagnosticLog::Write(line);
  }
  g_reserverRan.store(true, std::memory_order_release);
}

BottomMemoryReserver::~BottomMemoryReserver() = default;

size_t BottomMemoryReserver::GetHeapBlockCount() const { return m_blocks->heap.size(); }

size_t BottomMemoryReserver::GetMallocBlockCount() const { return m_blocks->malloc.size(); }

BottomMemoryReserver::Report BottomMemoryReserver::GetReport() {
  std::lock_guard<std::mutex> hold(g_reserveLock);
  return g_report;
}

bool BottomMemoryReserver::HasRun() { return g_reserverRan.load(std::memory_order_acquire); }

}  // namespace Kernel
