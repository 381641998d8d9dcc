#include <kernel/RawData.h>

#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/DiagnosticLog.h>
#include <kernel/Exceptions.h>

#include "DisposalFile.h"
#include "Heap.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>

namespace Kernel {
namespace {

std::atomic<AllocationHook> g_allocator{nullptr};
std::atomic<AllocationHook> g_mallocator{nullptr};

struct Counters {
  std::atomic<uint64_t> flushes{0}, restores{0}, bytesWritten{0}, bytesRead{0}, missingFiles{0};
};
Counters& Stats() {
  static Counters counters;
  return counters;
}

// CArchive and CFile move at most a UINT per call.
constexpr uint64_t kIoChunk = 1u << 30;
// Archive counts up to this size are trusted and allocated at once; beyond
// it the buffer grows with the bytes that actually arrive, so a corrupt count
// costs at most twice what the archive really holds.
constexpr uint64_t kTrustedCount = 16u << 20;

void ReadExact(CArchive& ar, unsigned char* p, uint64_t n) {
  while (n > 0) {
    const auto chunk = static_cast<UINT>(std::min(n, kIoChunk));
    const UINT got = ar.Read(p, chunk);
    if (got != chunk) throw CArchiveException(CArchiveException::endOfFile);
    p += chunk;
    n -= chunk;
  }
}

void SkipExact(CArchive& ar, uint64_t n) {
  unsigned char scratch[64 * 1024];
  while (n > 0) {
    const uint64_t chunk = std::min<uint64_t>(n, sizeof scratch);
    ReadExact(ar, scratch, chunk);
    n -= chunk;
  }
}

// Reads n bytes from a file into p; returns how many arrived.
uint64_t ReadFile(CFile& file, unsigned char* p, uint64_t n) {
  uint64_t total = 0;
  while (total < n) {
    const auto chunk = static_cast<UINT>(std::min(n - total, kIoChunk));
    const UINT got = file.Read(p + total, chunk);
    if (got == 0) break;
    total += got;
  }
  return total;
}

}  // namespace

// Each family's hook, and the memory manager's hook for it.
template <class A>
struct Family;
template <>
struct Family<Allocator> {
  static AllocationHook Hook() { return g_allocator.load(std::memory_order_acquire); }
  static constexpr AllocationHook Managed = &MemoryManager::ManagedAllocate;
};
template <>
struct Family<Mallocator> {
  static AllocationHook Hook() { return g_mallocator.load(std::memory_order_acquire); }
  static constexpr AllocationHook Managed = &MemoryManager::ManagedMallocate;
};

void SetAllocator(AllocationHook hook) { g_allocator.store(hook, std::memory_order_release); }
void ClearAllocator() { g_allocator.store(nullptr, std::memory_order_release); }
unsigned char* IAlloc(uint64_t size) {
  if (AllocationHook hook = g_allocator.load(std::memory_order_acquire)) return hook(size);
  return Heap::ArrayNew(size);
}
void SetMallocator(AllocationHook hook) { g_mallocator.store(hook, std::memory_order_release); }
void ClearMallocator() { g_mallocator.store(nullptr, std::memory_order_release); }
unsigned char* IMalloc(uint64_t size) {
  if (AllocationHook hook = g_mallocator.load(std::memory_order_acquire)) return hook(size);
  return static_cast<unsigned char*>(std::malloc(static_cast<size_t>(size)));
}

DisposalStatistics GetDisposalStatistics() {
  Counters& c = Stats();
  DisposalStatistics s;
  s.flushes = c.flushes.load();
  s.restores = c.restores.load();
  s.bytesWritten = c.bytesWritten.load();
  s.bytesRead = c.bytesRead.load();
  s.missingFiles = c.missingFiles.load();
  return s;
}

void ResetDisposalStatistics() {
  Counters& c = Stats();
  c.flushes = 0;
  c.restores = 0;
  c.bytesWritten = 0;
  c.bytesRead = 0;
  c.missingFiles = 0;
}

// Keeps a block's contents in memory for the length of a scope.
template <class A>
class RefRawData<A>::Pin {
 public:
  explicit Pin(const RefRawData& block) : m_block(block) { m_block.PinContents(); }
  ~Pin() { m_block.UnpinContents(); }
  Pin(const Pin&) = delete;
  Pin& operator=(const Pin&) = delete;
  // False when the contents could not be read back for lack of memory, or
  // when an archive load found no memory for them (a size without data).
  bool Resident() const { return !m_block.IsFlushed() && (m_block.m_data != nullptr || m_block.m_size == 0); }

 private:
  const RefRawData& m_block;
};

template <class A>
unsigned char* RefRawData<A>::TryAllocate(uint64_t n) {
  // A failed allocation is always a null result, whatever the hook threw.
  try {
    return A::Allocate(n);
  } catch (...) {
    return nullptr;
  }
}

template <class A>
void RefRawData<A>::ReleaseBuffer(unsigned char* p) {
  std::free(p);
}

template <class A>
void RefRawData<A>::AdoptCopy(const unsigned char* p, uint64_t n) {
  m_data = TryAllocate(n);
  if (m_data == nullptr) return;
  if (n > 0 && p != nullptr) std::memcpy(m_data, p, static_cast<size_t>(n));
  m_size = m_maxSize = n;
}

template <class A>
RefRawData<A>::RefRawData() = default;

template <class A>
RefRawData<A>::RefRawData(uint64_t n) {
  m_data = TryAllocate(n);
  if (m_data != nullptr) m_size = m_maxSize = n;
}

template <class A>
RefRawData<A>::RefRawData(const unsigned char* p, uint64_t n) {
  AdoptCopy(p, n);
}

template <class A>
RefRawData<A>::RefRawData(unsigned char* p, uint64_t n, bool copy) {
  if (copy) {
    AdoptCopy(p, n);
  } else {
    m_data = p;
    m_size = m_maxSize = n;
  }
}

template <class A>
RefRawData<A>::RefRawData(HGLOBAL globalHandle) {
  if (globalHandle == nullptr) return;
  const uint64_t n = GlobalSize(globalHandle);
  const void* source = GlobalLock(globalHandle);
  if (source == nullptr) return;
  AdoptCopy(static_cast<const unsigned char*>(source), n);
  GlobalUnlock(globalHandle);
}

template <class A>
RefRawData<A>::RefRawData(const CString& path) {
  CFile file;
  if (!file.Open(path.GetString(), CFile::modeRead | CFile::shareDenyNone)) return;
  try {
    const uint64_t n = file.GetLength();
    m_data = TryAllocate(n);
    const uint64_t got = m_data != nullptr ? ReadFile(file, m_data, n) : 0;
    if (got == 0) {
      ReleaseBuffer(m_data);
      m_data = nullptr;
    } else {
      m_maxSize = n;
      m_size = got;  // less than n only if the file shrank while we read
    }
  } catch (const CException&) {
    ReleaseBuffer(m_data);
    m_data = nullptr;
    m_size = m_maxSize = 0;
  }
}

template <class A>
RefRawData<A>::RefRawData(const RefRawData& other) : CRefCount(), MemoryManager::IDisposable() {
  Pin pin(other);
  if (pin.Resident()) AdoptCopy(other.m_data, other.m_size);
}

template <class A>
RefRawData<A>::~RefRawData() {
  if (IsFlushed()) DisposalFile::Remove(DisposalFile::Utf8Name(this));
  ReleaseBuffer(m_data);
}

template <class A>
void RefRawData<A>::PinContents() const {
  m_pins.fetch_add(1, std::memory_order_acq_rel);
  // A flush that saw no pin may be writing right now; waiting for the lock
  // lets it finish, and any later flush sees the pin and refuses.
  { std::lock_guard<std::mutex> wait(m_lock); }
  EnsureNotFlushed();
}

template <class A>
bool RefRawData<A>::SetMaxSize(uint64_t n) {
  if (n == m_maxSize) return true;
  Pin pin(*this);
  if (!pin.Resident()) return false;
  if (n < m_size) {
    // Shrinking below the size keeps the realloc result whatever it is; the
    // size is lowered by SetSize, the only caller that shrinks this far.
    m_data = static_cast<unsigned char*>(std::realloc(m_data, static_cast<size_t>(n)));
    m_maxSize = n;
    return true;
  }
  // The pin stops the recovery that this allocation may run from writing
  // this very block out while its bytes are still to be copied.
  const AllocationHook hook = Family<A>::Hook();
  if (hook == nullptr || hook == Family<A>::Managed) {
    // Storage from the C heap through the library's own paths can grow in
    // place with realloc (for large blocks by remapping pages instead of
    // copying them), with the same recovery when memory is short. A hook
    // the host installed sees every allocation, so it gets the plain path.
    unsigned char* grown = hook == nullptr ? Heap::Resize(m_data, n) : Heap::ManagedReallocate(m_data, n);
    if (grown == nullptr) return false;
    m_data = grown;
    m_maxSize = n;
    return true;
  }
  unsigned char* p = TryAllocate(n);
  if (p == nullptr) return false;
  if (m_data != nullptr && m_size > 0) std::memcpy(p, m_data, static_cast<size_t>(std::min(m_size, n)));
  ReleaseBuffer(m_data);
  m_data = p;
  m_maxSize = n;
  return true;
}

template <class A>
bool RefRawData<A>::SetSize(uint64_t n) {
  if (!SetMaxSize(n)) return false;
  m_size = n;
  return true;
}

template <class A>
bool RefRawData<A>::SetSizeGrow(uint64_t n, bool toCapacity) {
  if (n > m_maxSize && !SetMaxSize(std::max(n, GrownCapacity(m_maxSize)))) return false;
  m_size = toCapacity ? m_maxSize : n;
  return true;
}

template <class A>
bool RefRawData<A>::GrowBy(int32_t delta) {
  // The signed delta is added to the unsigned size: a shrink past zero wraps
  // to an impossible size, whose allocation fails.
  const uint64_t n = m_size + static_cast<uint64_t>(static_cast<int64_t>(delta));
  if (n > m_maxSize && !SetMaxSize(std::max(n, GrownCapacity(m_maxSize)))) return false;
  m_size = n;
  return true;
}

template <class A>
bool RefRawData<A>::Reserve(uint64_t n) {
  if (n <= m_maxSize) return true;
  return SetMaxSize(n);
}

template <class A>
CPtr<RefRawData<A>> RefRawData<A>::Clone() const {
  if (m_size == 0) return CPtr<RefRawData>();
  Pin pin(*this);
  if (!pin.Resident()) return CPtr<RefRawData>();
  RefRawData* copy = new (std::nothrow) RefRawData(m_data, m_size);
  if (copy == nullptr) return CPtr<RefRawData>();
  if (copy->m_data == nullptr) {
    delete copy;
    return CPtr<RefRawData>();
  }
  return CPtr<RefRawData>(copy);
}

template <class A>
bool RefRawData<A>::operator==(const RefRawData& other) const {
  if (m_size != other.m_size) return false;
  if (m_size == 0) return true;
  Pin mine(*this);
  Pin theirs(other);
  if (!mine.Resident() || !theirs.Resident()) return false;
  return std::memcmp(m_data, other.m_data, static_cast<size_t>(m_size)) == 0;
}

template <class A>
unsigned char* RefRawData<A>::Detach() {
  Pin pin(*this);
  if (!pin.Resident()) return nullptr;
  if (GetRefCount() < 2) {
    unsigned char* p = m_data;
    m_data = nullptr;
    m_size = m_maxSize = 0;
    return p;
  }
  unsigned char* copy = TryAllocate(m_size);
  if (copy != nullptr && m_size > 0) std::memcpy(copy, m_data, static_cast<size_t>(m_size));
  return copy;
}

template <class A>
HGLOBAL RefRawData<A>::GetAsGlobal() const {
  Pin pin(*this);
  if (!pin.Resident()) return nullptr;
  HGLOBAL handle = GlobalAlloc(0, static_cast<SIZE_T>(m_size));
  if (handle == nullptr) return nullptr;
  void* target = GlobalLock(handle);
  if (target == nullptr) {
    GlobalFree(handle);
    return nullptr;
  }
  if (m_size > 0) std::memcpy(target, m_data, static_cast<size_t>(m_size));
  GlobalUnlock(handle);
  return handle;
}

template <class A>
void RefRawData<A>::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    Pin pin(*this);
    if (!pin.Resident()) throw CMemoryException();
    ar << static_cast<DWORD>(m_size & 0xFFFFFFFFu);
    // Only the low 32 bits of the size are recorded, so only that many bytes
    // may follow, or the archive could not be read back.
    uint64_t n = m_size & 0xFFFFFFFFu;
    for (const unsigned char* p = m_data; n > 0;) {
      const auto chunk = static_cast<UINT>(std::min(n, kIoChunk));
      ar.Write(p, chunk);
      p += chunk;
      n -= chunk;
    }
    return;
  }
  LONG count = 0;
  ar >> count;
  // The old contents are about to be replaced: a disposed block only needs
  // its file removed, not its bytes read back.
  {
    std::lock_guard<std::mutex> hold(m_lock);
    if (m_flushed.load(std::memory_order_relaxed)) {
      DisposalFile::Remove(DisposalFile::Utf8Name(this));
      m_flushed.store(false, std::memory_order_release);
    }
  }
  ReleaseBuffer(m_data);
  m_data = nullptr;
  m_size = m_maxSize = 0;
  if (count < 0) throw CArchiveException(CArchiveException::badIndex);
  const auto n = static_cast<uint64_t>(count);
  if (n == 0) return;
  unsigned char* buffer = nullptr;
  uint64_t capacity = std::min(n, kTrustedCount);
  uint64_t got = 0;
  try {
    buffer = TryAllocate(capacity);
    while (buffer != nullptr) {
      ReadExact(ar, buffer + got, capacity - got);
      got = capacity;
      if (got == n) break;
      const uint64_t larger = std::min(n, capacity * 2);
      unsigned char* grown = TryAllocate(larger);
      if (grown != nullptr) std::memcpy(grown, buffer, static_cast<size_t>(got));
      ReleaseBuffer(buffer);
      buffer = grown;
      capacity = larger;
    }
    // Without memory for the bytes, they are still consumed so that the
    // archive stays in step; the block keeps the count and no data.
    if (buffer == nullptr) SkipExact(ar, n - got);
  } catch (...) {
    ReleaseBuffer(buffer);
    throw;
  }
  m_data = buffer;
  m_size = m_maxSize = n;
}

template <class A>
bool RefRawData<A>::Save(const wchar_t* path) const {
  Pin pin(*this);
  if (!pin.Resident() || m_size == 0) return false;
  CFile file;
  if (!file.Open(path, CFile::modeCreate | CFile::modeWrite)) return false;
  bool ok = true;
  try {
    uint64_t n = m_size;
    for (const unsigned char* p = m_data; n > 0;) {
      const auto chunk = static_cast<UINT>(std::min(n, kIoChunk));
      file.Write(p, chunk);
      p += chunk;
      n -= chunk;
    }
  } catch (const CException&) {
    ok = false;
  }
  try {
    file.Close();
  } catch (const CException&) {
    ok = false;
  }
  if (!ok) {
    try {
      CFile::Remove(path);
    } catch (const CException&) {
    }
  }
  return ok;
}

template <class A>
CPtr<RefRawData<A>> RefRawData<A>::Load(const wchar_t* path) {
  CFile file;
  if (!file.Open(path, CFile::modeRead | CFile::shareDenyNone)) return CPtr<RefRawData>();
  try {
    const uint64_t n = file.GetLength();
    if (n == 0) return CPtr<RefRawData>();
    CPtr<RefRawData> block(new (std::nothrow) RefRawData(n));
    if (!block || block->m_data == nullptr) return CPtr<RefRawData>();
    if (ReadFile(file, block->m_data, n) != n) return CPtr<RefRawData>();
    return block;
  } catch (const CException&) {
    return CPtr<RefRawData>();
  }
}

template <class A>
bool RefRawData<A>::CanDispose(bool toDisk) {
  return toDisk && m_size != 0 && !IsFlushed() && m_pins.load(std::memory_order_acquire) == 0 &&
         DisposalFile::HasFolder();
}

template <class A>
void RefRawData<A>::Dispose(bool toDisk) {
  if (toDisk) FlushToDisk();
}

template <class A>
CString RefRawData<A>::GetDisposalFileName() const {
  return DisposalFile::WideName(this);
}

template <class A>
bool RefRawData<A>::FlushToDisk() {
  std::lock_guard<std::mutex> hold(m_lock);
  if (m_flushed.load(std::memory_order_relaxed) || m_pins.load(std::memory_order_acquire) > 0) return false;
  if (!DisposalFile::HasFolder()) return false;
  if (m_data == nullptr && m_size > 0) return false;  // a load that found no memory
  if (!DisposalFile::Write(DisposalFile::Utf8Name(this), m_data, m_size)) return false;
  ReleaseBuffer(m_data);
  m_data = nullptr;
  m_flushed.store(true, std::memory_order_release);
  Counters& c = Stats();
  c.flushes.fetch_add(1, std::memory_order_relaxed);
  c.bytesWritten.fetch_add(m_size, std::memory_order_relaxed);
  return true;
}

template <class A>
void RefRawData<A>::RestoreFromDisk() const {
  for (;;) {
    uint64_t capacity;
    {
      std::lock_guard<std::mutex> hold(m_lock);
      if (!m_flushed.load(std::memory_order_relaxed)) return;
      capacity = m_maxSize;
    }
    // Allocated without the block's lock: the allocation may run the memory
    // manager, which takes its own lock and then other blocks' locks.
    unsigned char* buffer = TryAllocate(capacity);
    std::unique_lock<std::mutex> hold(m_lock);
    if (!m_flushed.load(std::memory_order_relaxed)) {
      hold.unlock();
      ReleaseBuffer(buffer);
      return;  // another thread read it back meanwhile
    }
    if (buffer == nullptr) return;  // no memory: the contents stay on disk
    if (capacity != m_maxSize) {
      hold.unlock();
      ReleaseBuffer(buffer);
      continue;
    }
    const std::string path = DisposalFile::Utf8Name(this);
    Heap::PrepareLargeFill(buffer, std::min(m_size, capacity));
    const int64_t got = DisposalFile::Read(path, buffer, std::min(m_size, capacity));
    m_data = buffer;
    m_flushed.store(false, std::memory_order_release);
    Counters& c = Stats();
    c.restores.fetch_add(1, std::memory_order_relaxed);
    if (got > 0) c.bytesRead.fetch_add(static_cast<uint64_t>(got), std::memory_order_relaxed);
    if (got < 0 || static_cast<uint64_t>(got) < m_size) {
      // The contents are lost; the block carries on with whatever the buffer
      // held, which is what callers of a disposable cache have to live with.
      c.missingFiles.fetch_add(1, std::memory_order_relaxed);
      DiagnosticLog::Printf("Disposal file %s %s; %llu bytes of a raw block restored uninitialised.\n", path.c_str(),
                            got < 0 ? "is missing" : "is short",
                            static_cast<unsigned long long>(m_size - static_cast<uint64_t>(std::max<int64_t>(got, 0))));
    }
    return;
  }
}

template class RefRawData<Allocator>;
template class RefRawData<Mallocator>;

}  // namespace Kernel
