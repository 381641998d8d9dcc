#pragma once
// The process-wide memory manager. Large objects that can give their memory
// back (above all the raw data blocks of <kernel/RawData.h>) register here;
// when an allocation fails or the process grows past its cap, the manager
// makes the least recently touched of them dispose of their memory: first
// whatever can be dropped without the disk, then by writing to the disposal
// folder. It installs itself as the raw-data allocation hooks, so every raw
// block allocation that fails gets a recovery attempt before it gives up.
//
// Lock order: the manager's lock, then an object's own lock. Dispose is called
// with the manager's lock held; an object must never call into the manager
// while it holds its own lock.
#include <kernel/CString.h>
#include <kernel/Export.h>

#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <unordered_map>
#include <vector>

namespace Kernel {

class NK_API MemoryManager {
 public:
  // Anything that can give memory back under pressure.
  class NK_API IDisposable {
   public:
    IDisposable() = default;
    virtual ~IDisposable() = default;

    // Give memory back: with toDisk false only what needs no disk, with toDisk
    // true also by writing to the disposal folder.
    virtual void Dispose(bool toDisk) = 0;
    // Debugging output; does nothing unless an object has something to say.
    virtual void Dump() const {}
    // Whether Dispose(toDisk) would free anything now.
    virtual bool CanDispose(bool toDisk) = 0;
    // A 32-bit content checksum used to find an equal registered resource;
    // 0 means the object has none.
    virtual uint32_t GetChecksum() = 0;
    // The memory the object accounts for, in bytes.
    virtual uint64_t Measure() const = 0;

   protected:
    IDisposable(const IDisposable&) = default;
    IDisposable& operator=(const IDisposable&) = default;
  };

  // The singleton, created on first use and destroyed at process exit.
  static MemoryManager& GetInstance();

  MemoryManager(const MemoryManager&) = delete;
  MemoryManager& operator=(const MemoryManager&) = delete;

  // Registers obj as the most recently touched object. Attaching an object
  // that is already registered moves it behind all others and forgets its
  // cached checksum.
  void Attach(IDisposable* obj);
  void Detach(const IDisposable* obj);
  // Marks a registered object as used now; unknown objects are ignored.
  void Touch(const IDisposable* obj);
  bool IsAttached(const IDisposable* obj) const;
  size_t GetAttachedCount() const;

  // The folder that receives disposal files, without a trailing separator.
  // Empty (the default) switches disposal to disk off.
  void SetDisposalPath(const CString& path);
  CString GetDisposalPath() const;

  // The larger of the machine's physical memory and 500 MiB.
  int64_t GetMemoryCap() const;
  // The process's private bytes, or EstimateMemoryUsage() when the resource
  // monitor reads nothing.
  int64_t GetMemoryUsage() const;
  // The sum of Measure() over every registered object.
  int64_t EstimateMemoryUsage() const;

  // Periodic trimming: when usage exceeds the cap, drops memory that needs no
  // disk. Does nothing until COSResourceMonitor::Init has succeeded.
  void ManageMemory();
  // Tries to recover bytes, first without the disk, then with it. False when
  // the resource monitor is not initialised or not enough could be found.
  bool EmergencyManageMemory(uint64_t bytes);
  // The disposal loop: disposes the least recently touched candidates until
  // they account for bytes (which is lowered by what each one freed) or none
  // is left. True when bytes reached 0.
  bool Salvage(uint64_t& bytes, bool toDisk);
  // The registered object with the oldest tick that can dispose now; ties go
  // to the earlier registered. Ticks are compared as plain unsigned 32-bit
  // values: after the tick counter wraps (about 49.7 days) young objects look
  // old. A tick of 0xFFFFFFFF never qualifies.
  IDisposable* GetNextRecoveryCandidate(bool toDisk) const;
  // The first registered object other than exclude whose checksum equals
  // checksum; null for checksum 0. Checksums are computed once and cached;
  // an object reporting 0 is cached as 1.
  IDisposable* GetResourceFromChecksum(IDisposable* const exclude, uint32_t checksum) const;

  // The allocation hooks installed for raw data: the C heap, and when that
  // fails, heap compaction and recovery until recovery fails. Null when even
  // that did not make room. Storage comes from malloc for both, so it pairs
  // with free and realloc.
  static unsigned char* ManagedAllocate(uint64_t size);
  static unsigned char* ManagedMallocate(uint64_t size);

  // The clock behind the ticks: milliseconds of a monotonic clock, cut to 32
  // bits. A host that replays recorded sessions, or a test, can substitute its
  // own; null restores the default.
  using TickSource = uint32_t (*)();
  static void SetTickSource(TickSource source);
  static uint32_t Now();

  // Calls Dump() on every registered object.
  void Dump() const;

 private:
  MemoryManager();
  ~MemoryManager();

  struct Record {
    IDisposable* object;
    uint32_t tick;
    uint32_t checksum;  // 0: not computed yet
  };

  void Indispose(IDisposable* obj);
  void Redispose(IDisposable* obj);
  bool IsIndisposed(const IDisposable* obj) const;
  void RemoveLocked(const IDisposable* obj);
  void SetTickLocked(const IDisposable* obj, uint32_t tick);

  // Objects excluded from disposal while they are being disposed; a Dispose
  // that allocates may re-enter the manager and must not pick itself again.
  std::vector<IDisposable*> m_indisposed;
  // The register, keyed by attachment sequence (register order) ...
  mutable std::map<uint64_t, Record> m_registered;
  // ... with each object's sequence number ...
  std::unordered_map<const IDisposable*, uint64_t> m_sequenceOf;
  // ... and the same objects ordered by (tick, sequence): the first eligible
  // entry is exactly the candidate a scan of the register would choose.
  struct TickKey {
    uint32_t tick;
    uint64_t sequence;
    IDisposable* object;
    bool operator<(const TickKey& o) const { return tick != o.tick ? tick < o.tick : sequence < o.sequence; }
  };
  std::set<TickKey> m_byTick;
  uint64_t m_nextSequence = 0;
  // Recursive: a Dispose that allocates comes back through the hooks on the
  // same thread.
  mutable std::recursive_mutex m_lock;
};

}  // namespace Kernel
