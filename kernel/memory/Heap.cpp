#include "Heap.h"

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <malloc.h>
#include <new>
#include <string>
#include <sys/mman.h>
#include <sys/sysinfo.h>

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

namespace {

constexpr uint64_t kHugePage = uint64_t(2) << 20;

// True when the system hands out transparent huge pages only to memory that
// asks for them. With "always" they come anyway and with "never" asking is
// pointless; either way there is nothing to do.
bool HugePagesOnRequest() {
  static const bool onRequest = [] {
    std::ifstream in("/sys/kernel/mm/transparent_hugepage/enabled");
    std::string modes;
    std::getline(in, modes);
    return modes.find("[madvise]") != std::string::npos;
  }();
  return onRequest;
}

}  // namespace

void PrepareLargeFill(unsigned char* block, uint64_t size) {
#ifdef MADV_HUGEPAGE
  // A freshly allocated large buffer is faulted in page by page as it is
  // first written, and in a virtual machine those faults cost about as much
  // as reading the bytes back from the page cache: a 64 MiB restore spent a
  // third of its time in them. Huge pages take 512 pages per fault.
  //
  // Below a few huge pages the gain is small and the buffer is likely to sit
  // in the C heap's own segment, which advice would split into more mappings.
  if (block == nullptr || size < 4 * kHugePage || !HugePagesOnRequest()) return;
  // Asking for huge pages lets the kernel compact memory to find them, which
  // can stall exactly when memory is short, the moment disposal exists for.
  // Only ask while free memory comfortably covers the buffer.
  struct sysinfo info;
  if (::sysinfo(&info) != 0) return;
  const uint64_t freeBytes = uint64_t(info.freeram) * info.mem_unit;
  if (freeBytes < 2 * size + (uint64_t(256) << 20)) return;
  const uintptr_t first = (reinterpret_cast<uintptr_t>(block) + kHugePage - 1) & ~uintptr_t(kHugePage - 1);
  const uintptr_t last = (reinterpret_cast<uintptr_t>(block) + size) & ~uintptr_t(kHugePage - 1);
  // Advice only; a refusal leaves ordinary pages, which work the same.
  if (last > first) ::madvise(reinterpret_cast<void*>(first), last - first, MADV_HUGEPAGE);
#else
  (void)block;
  (void)size;
#endif
}

void Compact() {
  // glibc validates its heap on every call already (and aborts on damage), so
  // there is nothing to validate separately; trimming returns free memory.
  malloc_trim(0);
}

}  // namespace Heap
}  // namespace Kernel
