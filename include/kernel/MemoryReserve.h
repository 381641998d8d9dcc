#pragma once
// The low-memory reserve: a diagnostic aid for 64-bit builds. The first
// reserver of a process occupies all free address space below 4 GiB, with
// inaccessible mappings and with small heap blocks, so that every later
// allocation lands above that line and code that keeps addresses in 32 bits
// fails at once instead of some day. It reports what it took to the
// diagnostic log ("Reserved ... MB (... vallocs,... heap allocs) of
// low-memory."). The address-space reservations stay for the life of the
// process; the heap blocks go back when the reserver (and every copy of it)
// is destroyed.
#include <kernel/Export.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

namespace Kernel {

class NK_API BottomMemoryReserver {
 public:
  // Reserves on the first construction in the process; later reservers do
  // nothing.
  BottomMemoryReserver();
  ~BottomMemoryReserver();
  // Copies share the heap blocks, which go back once, with the last copy.
  BottomMemoryReserver(const BottomMemoryReserver&) = default;
  BottomMemoryReserver& operator=(const BottomMemoryReserver&) = default;

  // Heap blocks this reserver keeps below 4 GiB: from the C++ free store and
  // from malloc.
  size_t GetHeapBlockCount() const;
  size_t GetMallocBlockCount() const;

  // What the reservation took, zeros until it has run.
  struct Report {
    uint64_t bytes = 0;     // in total
    int addressRanges = 0;  // inaccessible mappings
    int heapBlocks = 0;     // free-store blocks
    int mallocBlocks = 0;   // malloc blocks
  };
  static Report GetReport();
  static bool HasRun();

 private:
  struct Blocks;
  std::shared_ptr<Blocks> m_blocks;
};

}  // namespace Kernel
