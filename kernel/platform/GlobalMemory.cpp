#include <kernel/GlobalMemory.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <new>

namespace {

constexpr uint32_t kMagic = 0x474D454Du;  // "GMEM"
constexpr uint32_t kDead = 0x44454144u;   // freed

// Sits right before the bytes; 32 bytes keep the bytes 16-byte aligned.
struct alignas(16) Header {
  uint32_t magic;
  uint32_t flags;
  std::atomic<uint32_t> locks;
  uint32_t reserved;
  size_t size;
  size_t reserved2;
};
static_assert(sizeof(Header) == 32);

Header* HeaderOf(HGLOBAL mem) {
  if (!mem || (reinterpret_cast<uintptr_t>(mem) & 15) != 0) return nullptr;
  auto* h = reinterpret_cast<Header*>(mem) - 1;
  return h->magic == kMagic ? h : nullptr;
}

}  // namespace

HGLOBAL GlobalAlloc(UINT flags, SIZE_T bytes) {
  if (bytes > SIZE_MAX - sizeof(Header)) return nullptr;
  void* raw = std::malloc(sizeof(Header) + bytes);
  if (!raw) return nullptr;
  auto* h = new (raw) Header{kMagic, flags & ~GMEM_MODIFY, {0}, 0, bytes, 0};
  void* data = h + 1;
  if (flags & GMEM_ZEROINIT) std::memset(data, 0, bytes);
  return data;
}

HGLOBAL GlobalReAlloc(HGLOBAL mem, SIZE_T bytes, UINT flags) {
  Header* h = HeaderOf(mem);
  if (!h) return nullptr;
  if (flags & GMEM_MODIFY) {
    h->flags = (h->flags & ~GMEM_MOVEABLE) | (flags & GMEM_MOVEABLE);
    return mem;
  }
  if (bytes > SIZE_MAX - sizeof(Header)) return nullptr;
  size_t old = h->size;
  void* raw = std::realloc(h, sizeof(Header) + bytes);
  if (!raw) return nullptr;
  h = static_cast<Header*>(raw);
  h->size = bytes;
  void* data = h + 1;
  if ((flags & GMEM_ZEROINIT) && bytes > old) std::memset(static_cast<char*>(data) + old, 0, bytes - old);
  return data;
}

HGLOBAL GlobalFree(HGLOBAL mem) {
  if (!mem) return nullptr;
  Header* h = HeaderOf(mem);
  if (!h) return mem;
  h->magic = kDead;
  h->~Header();
  std::free(h);
  return nullptr;
}

void* GlobalLock(HGLOBAL mem) {
  Header* h = HeaderOf(mem);
  if (!h) return nullptr;
  h->locks.fetch_add(1, std::memory_order_relaxed);
  return mem;
}

BOOL GlobalUnlock(HGLOBAL mem) {
  Header* h = HeaderOf(mem);
  if (!h) return FALSE;
  uint32_t n = h->locks.load(std::memory_order_relaxed);
  while (n > 0 && !h->locks.compare_exchange_weak(n, n - 1, std::memory_order_relaxed)) {
  }
  return n > 1 ? TRUE : FALSE;
}

SIZE_T GlobalSize(HGLOBAL mem) {
  Header* h = HeaderOf(mem);
  return h ? h->size : 0;
}

UINT GlobalFlags(HGLOBAL mem) {
  Header* h = HeaderOf(mem);
  if (!h) return GMEM_INVALID_HANDLE;
  uint32_t locks = h->locks.load(std::memory_order_relaxed);
  return (locks > GMEM_LOCKCOUNT ? GMEM_LOCKCOUNT : locks) | (h->flags & GMEM_DISCARDABLE);
}

HGLOBAL GlobalHandle(const void* mem) { return HeaderOf(const_cast<void*>(mem)) ? const_cast<void*>(mem) : nullptr; }
