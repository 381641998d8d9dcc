#include "Heap.h"

#include <cstdlib>
#include <malloc.h>
#include <new>

namespace Kernel {
namespace Heap {

unsigned char* ArrayNew(uint64_t size) {
  // malloc(0) may answer null on some C libraries; array new never does.
  void* p = std::malloc(size == 0 ? 1 : static_cast<size_t>(size));
  if (p == nullptr) throw std::bad_alloc();
  return static_cast<unsigned char*>(p);
}

unsigned char* Resize(unsigned char* block, uint64_t size) {
  return static_cast<unsigned char*>(std::realloc(block, size == 0 ? 1 : static_cast<size_t>(size)));
}

void Compact() {
  // glibc validates its heap on every call already (and aborts on damage), so
  // there is nothing to validate separately; trimming returns free memory.
  malloc_trim(0);
}

}  // namespace Heap
}  // namespace Kernel
