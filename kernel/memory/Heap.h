#pragma once
// The C-heap primitives behind both raw-data allocation families.
#include <cstdint>

namespace Kernel {
namespace Heap {

// The default array allocation: C-heap storage (so free() and realloc() pair
// with it) that fails the way array new does, by throwing std::bad_alloc.
unsigned char* ArrayNew(uint64_t size);

// What the process can do to make a failed allocation succeed without giving
// anything up: hand free pages at the top of the heap and inside it back to
// the system, so that a large request can be mapped afresh.
void Compact();

// realloc, with null (and the block untouched) on failure. Out of line so
// that a caller may retry with the same block after a failure.
unsigned char* Resize(unsigned char* block, uint64_t size);

// Called on a large buffer that is about to be written from end to end at
// once (a block read back from its disposal file). Asks for it to be faulted
// in 2 MiB at a time rather than 4 KiB; see Heap.cpp for when it does so.
void PrepareLargeFill(unsigned char* block, uint64_t size);

// Resizes a C-heap block with realloc, running the memory manager's recovery
// ladder when that fails, as its allocation hooks do. Null (and the block
// untouched) when even that does not make room. Defined with the manager.
unsigned char* ManagedReallocate(unsigned char* block, uint64_t size);

}  // namespace Heap
}  // namespace Kernel
