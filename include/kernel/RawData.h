#pragma once
// Reference-counted raw data: the library's shared, growable byte block.
//
// A RefRawData owns one contiguous buffer, can save itself to and load itself
// from a file, stream itself through an archive, and can be registered with
// the memory manager, which under memory pressure writes its contents to a
// disposal file and frees the buffer; the next access to the contents reads
// them back transparently.
//
// Two instantiations are exported. They differ only in the hook that obtains
// buffers: RefRawData<Allocator> goes through IAlloc, RefRawData<Mallocator>
// through IMalloc. On this platform both families are C-heap storage: buffers
// are released with free() and shrunk with realloc(), so an installed hook
// must return memory from malloc, and a buffer taken with Detach() is
// released with free().
#include <kernel/CString.h>
#include <kernel/Export.h>
#include <kernel/GlobalMemory.h>
#include <kernel/MemoryManager.h>
#include <kernel/RefCount.h>

#include <atomic>
#include <cstdint>
#include <mutex>

class CArchive;

namespace Kernel {

// Allocation hooks, process-wide and not locked: install them before threads
// start allocating. A hook returns null (or throws) when it cannot allocate.
using AllocationHook = unsigned char* (*)(uint64_t size);

NK_API void SetAllocator(AllocationHook hook);
NK_API void ClearAllocator();
// The installed allocator hook, or the plain C-heap allocation (which throws
// std::bad_alloc on failure, as array new would) when none is installed.
NK_API unsigned char* IAlloc(uint64_t size);
NK_API void SetMallocator(AllocationHook hook);
NK_API void ClearMallocator();
// The installed mallocator hook, or malloc (null on failure).
NK_API unsigned char* IMalloc(uint64_t size);

// The two allocation families.
struct NK_API Allocator {
  static unsigned char* Allocate(uint64_t size) { return IAlloc(size); }
};
struct NK_API Mallocator {
  static unsigned char* Allocate(uint64_t size) { return IMalloc(size); }
};

// Counters of the traffic to and from disposal files, for hosts that want to
// show what the memory manager did.
struct DisposalStatistics {
  uint64_t flushes = 0;       // blocks written to disposal files
  uint64_t restores = 0;      // blocks read back
  uint64_t bytesWritten = 0;  // bytes written to disposal files
  uint64_t bytesRead = 0;     // bytes read back
  uint64_t missingFiles = 0;  // restores that found no (or a short) file
};
NK_API DisposalStatistics GetDisposalStatistics();
NK_API void ResetDisposalStatistics();

template <class Alloc>
class NK_API RefRawData : public CRefCount, public MemoryManager::IDisposable {
 public:
  // Empty: no buffer, size 0.
  RefRawData();
  // n uninitialised bytes; empty when the allocation fails.
  explicit RefRawData(uint64_t n);
  // A copy of n bytes at p; empty when the allocation fails.
  RefRawData(const unsigned char* p, uint64_t n);
  // With copy, a copy of n bytes at p; without, adopts p (which must then come
  // from malloc) as its buffer of capacity n.
  RefRawData(unsigned char* p, uint64_t n, bool copy);
  // A copy of the whole contents of a global memory handle.
  explicit RefRawData(HGLOBAL globalHandle);
  // The contents of a file; empty when it cannot be opened or read.
  explicit RefRawData(const CString& path);
  // Copies the contents (reading them back first if they were disposed of).
  RefRawData(const RefRawData& other);
  RefRawData& operator=(const RefRawData&) = delete;
  ~RefRawData() override;

  uint64_t GetSize() const { return m_size; }
  uint64_t GetMaxSize() const { return m_maxSize; }
  // Data present and size positive as a signed value. Does not read disposed
  // contents back, so a block on disk answers false.
  bool IsValid() const { return m_data != nullptr && static_cast<int64_t>(m_size) > 0; }

  unsigned char* GetData() {
    EnsureNotFlushed();
    return m_data;
  }
  const unsigned char* GetConstData() const {
    EnsureNotFlushed();
    return m_data;
  }
  unsigned char* GetEnd() {
    EnsureNotFlushed();
    return m_data + m_size;
  }
  const unsigned char* GetConstEnd() const {
    EnsureNotFlushed();
    return m_data + m_size;
  }
  operator unsigned char*() { return GetData(); }
  operator const unsigned char*() const { return GetConstData(); }
  // No bounds check.
  unsigned char GetByte(uint64_t i) const {
    EnsureNotFlushed();
    return m_data[i];
  }
  void SetByte(uint64_t i, unsigned char b) {
    EnsureNotFlushed();
    m_data[i] = b;
  }

  bool GetPlaceholder() const { return m_placeholder; }
  void SetPlaceholder(bool placeholder) { m_placeholder = placeholder; }

  // Size management. All return false only when an allocation failed, and
  // then leave the block unchanged.
  // Exactly n bytes of capacity, size n.
  bool SetSize(uint64_t n);
  // Size n (or the whole capacity with toCapacity), growing the capacity by
  // half when it has to grow.
  bool SetSizeGrow(uint64_t n, bool toCapacity = false);
  // Size plus delta, growing like SetSizeGrow.
  bool GrowBy(int32_t delta);
  // At least n bytes of capacity, exactly n when it has to grow.
  bool Reserve(uint64_t n);
  // The capacity a growing block moves to from capacity c: c + c/2, or 0 when
  // that would pass the 32-bit ceiling 0xFFFFFFFF (the request is then used
  // as it is). The ceiling holds on 64-bit builds too.
  static uint64_t GrownCapacity(uint64_t c) {
    const uint64_t half = c / 2;
    return (0xFFFFFFFFull - half < c) ? 0 : c + half;
  }

  // A new block holding a copy of the contents (capacity = size); null when
  // the block is empty or the allocation fails.
  CPtr<RefRawData> Clone() const;
  bool operator==(const RefRawData& other) const;
  bool operator!=(const RefRawData& other) const { return !(*this == other); }

  // Hands the buffer to the caller (release it with free()). A shared block
  // keeps its buffer and hands out a copy instead; null if that fails.
  unsigned char* Detach();
  // A new fixed global memory handle holding a copy; null on failure.
  HGLOBAL GetAsGlobal() const;

  // The archive form: a 4-byte little-endian count, then the bytes.
  void Serialize(CArchive& ar);
  virtual bool Save(const wchar_t* path) const;
  static CPtr<RefRawData> Load(const wchar_t* path);

  // Disposal.
  uint64_t Measure() const override { return m_maxSize; }
  void Dispose(bool toDisk) override;
  bool CanDispose(bool toDisk) override;
  uint32_t GetChecksum() override { return 0; }
  // Writes the contents, inverted, to the disposal file and frees the buffer.
  // False when already on disk, when no disposal folder is set, when the
  // contents are pinned or when the file cannot be written.
  bool FlushToDisk();
  bool IsFlushed() const { return m_flushed.load(std::memory_order_acquire); }
  // The disposal file of this block: the disposal folder, '/', the low 32
  // bits of the block's address in lowercase hexadecimal, ".dat".
  CString GetDisposalFileName() const;

  // Pinning keeps the contents in memory: a pinned block reads its contents
  // back if needed and is not written out until every pin is gone. Use it
  // while holding a data pointer across code that may allocate.
  void PinContents() const;
  void UnpinContents() const { m_pins.fetch_sub(1, std::memory_order_acq_rel); }

 protected:
  bool SetMaxSize(uint64_t n);
  // Reads disposed contents back. If the memory for them cannot be found the
  // block stays on disk; if the file has gone the contents are uninitialised.
  void EnsureNotFlushed() const {
    if (m_flushed.load(std::memory_order_acquire)) RestoreFromDisk();
  }

 private:
  class Pin;
  static unsigned char* TryAllocate(uint64_t n);
  static void ReleaseBuffer(unsigned char* p);
  void AdoptCopy(const unsigned char* p, uint64_t n);
  void RestoreFromDisk() const;

  // Mutable: reading contents back is a const operation to the caller.
  mutable unsigned char* m_data = nullptr;
  mutable std::atomic<bool> m_flushed{false};
  bool m_placeholder = false;
  uint64_t m_size = 0;
  uint64_t m_maxSize = 0;
  mutable std::mutex m_lock;  // guards flushing and restoring
  mutable std::atomic<int> m_pins{0};
};

extern template class RefRawData<Allocator>;
extern template class RefRawData<Mallocator>;

}  // namespace Kernel
