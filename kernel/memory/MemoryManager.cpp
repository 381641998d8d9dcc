#include <kernel/MemoryManager.h>

#include <kernel/RawData.h>
#include <kernel/ResourceMonitor.h>

#include "DisposalFile.h"
#include "Heap.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <new>
#include <unordered_set>

namespace Kernel {
namespace {

std::atomic<MemoryManager::TickSource> g_tickSource{nullptr};

constexpr int64_t kMinimumCap = 524288000;  // 500 MiB

}  // namespace

MemoryManager& MemoryManager::GetInstance() {
  static MemoryManager instance;
  return instance;
}

MemoryManager::MemoryManager() {
  SetAllocator(&MemoryManager::ManagedAllocate);
  SetMallocator(&MemoryManager::ManagedMallocate);
}

MemoryManager::~MemoryManager() {
  ClearAllocator();
  ClearMallocator();
}

void MemoryManager::SetTickSource(TickSource source) { g_tickSource.store(source, std::memory_order_release); }

uint32_t MemoryManager::Now() {
  if (TickSource source = g_tickSource.load(std::memory_order_acquire)) return source();
  return COSResourceMonitor::GetTickCount();
}

void MemoryManager::RemoveLocked(const IDisposable* obj) {
  const auto found = m_sequenceOf.find(obj);
  if (found == m_sequenceOf.end()) return;
  const uint64_t sequence = found->second;
  const auto record = m_registered.find(sequence);
  m_byTick.erase({record->second.tick, sequence, nullptr});
  m_registered.erase(record);
  m_sequenceOf.erase(found);
}

void MemoryManager::SetTickLocked(const IDisposable* obj, uint32_t tick) {
  const auto found = m_sequenceOf.find(obj);
  if (found == m_sequenceOf.end()) return;
  Record& record = m_registered.find(found->second)->second;
  m_byTick.erase({record.tick, found->second, nullptr});
  record.tick = tick;
  m_byTick.insert({tick, found->second, record.object});
}

void MemoryManager::Attach(IDisposable* obj) {
  if (obj == nullptr) return;
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  RemoveLocked(obj);
  const uint64_t sequence = m_nextSequence++;
  const uint32_t tick = Now();
  m_registered.emplace(sequence, Record{obj, tick, 0});
  m_sequenceOf.emplace(obj, sequence);
  m_byTick.insert({tick, sequence, obj});
}

void MemoryManager::Detach(const IDisposable* obj) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  RemoveLocked(obj);
}

void MemoryManager::Touch(const IDisposable* obj) {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  SetTickLocked(obj, Now());
}

bool MemoryManager::IsAttached(const IDisposable* obj) const {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  return m_sequenceOf.count(obj) != 0;
}

size_t MemoryManager::GetAttachedCount() const {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  return m_registered.size();
}

void MemoryManager::SetDisposalPath(const CString& path) { DisposalFile::SetFolder(path); }

CString MemoryManager::GetDisposalPath() const { return DisposalFile::GetFolder(); }

int64_t MemoryManager::GetMemoryCap() const {
  return std::max(COSResourceMonitor::GetTotalPhysicalBytes(), kMinimumCap);
}

int64_t MemoryManager::GetMemoryUsage() const {
  const int64_t privateBytes = COSResourceMonitor::GetInstance().GetPrivateBytesUsedByApp();
  return privateBytes != 0 ? privateBytes : EstimateMemoryUsage();
}

int64_t MemoryManager::EstimateMemoryUsage() const {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  uint64_t total = 0;
  for (const auto& entry : m_registered) total += entry.second.object->Measure();
  return static_cast<int64_t>(total);
}

void MemoryManager::Indispose(IDisposable* obj) { m_indisposed.push_back(obj); }

void MemoryManager::Redispose(IDisposable* obj) {
  const auto found = std::find(m_indisposed.begin(), m_indisposed.end(), obj);
  if (found != m_indisposed.end()) m_indisposed.erase(found);
}

bool MemoryManager::IsIndisposed(const IDisposable* obj) const {
  return std::find(m_indisposed.begin(), m_indisposed.end(), obj) != m_indisposed.end();
}

MemoryManager::IDisposable* MemoryManager::GetNextRecoveryCandidate(bool toDisk) const {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  // Walking in (tick, sequence) order finds the object a scan of the register
  // for the strictly smallest tick below 0xFFFFFFFF would find, ties going to
  // the earlier registered, without looking at the younger ones.
  const bool anyIndisposed = !m_indisposed.empty();
  for (const TickKey& key : m_byTick) {
    if (key.tick == 0xFFFFFFFFu) break;
    if ((!anyIndisposed || !IsIndisposed(key.object)) && key.object->CanDispose(toDisk)) return key.object;
  }
  Dump();
  return nullptr;
}

bool MemoryManager::Salvage(uint64_t& bytes, bool toDisk) {
  if (bytes == 0) return true;
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  // An object that freed nothing yet still offers itself would be chosen
  // again and again; it sits out the rest of this pass so the others get
  // their turn and the pass ends when they are used up.
  std::unordered_set<IDisposable*> fruitless;
  std::vector<IDisposable*> benched;
  IDisposable* candidate = GetNextRecoveryCandidate(toDisk);
  while (candidate != nullptr) {
    if (fruitless.count(candidate) != 0) {
      Indispose(candidate);
      benched.push_back(candidate);
    } else {
      Indispose(candidate);
      const uint64_t before = candidate->Measure();
      candidate->Dispose(toDisk);
      Redispose(candidate);
      const uint64_t freed = before - candidate->Measure();
      bytes = freed > bytes ? 0 : bytes - freed;
      if (freed == 0) fruitless.insert(candidate);
      SetTickLocked(candidate, Now());  // only if it is still registered
      if (bytes == 0) break;
    }
    candidate = GetNextRecoveryCandidate(toDisk);
  }
  for (IDisposable* obj : benched) Redispose(obj);
  return bytes == 0;
}

void MemoryManager::ManageMemory() {
  if (!COSResourceMonitor::GetInstance().IsInitialised()) return;
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  const int64_t cap = GetMemoryCap();
  const int64_t usage = GetMemoryUsage();
  if (usage > cap) {
    uint64_t excess = static_cast<uint64_t>(usage - cap);
    Salvage(excess, false);  // the periodic pass never writes to disk
  }
}

bool MemoryManager::EmergencyManageMemory(uint64_t bytes) {
  if (!COSResourceMonitor::GetInstance().IsInitialised()) return false;
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  // The disk pass goes for what the memory pass could not find.
  if (Salvage(bytes, false)) return true;
  return Salvage(bytes, true);
}

namespace {

// The retry ladder of the hooks: a plain attempt; compaction and a retry;
// then recovery, compaction and a retry for as long as recovery finds
// something; one last attempt after it fails. The malloc hook's recovery is
// the same memory-then-disk pass as EmergencyManageMemory.
template <class Attempt>
unsigned char* WithRecovery(uint64_t size, Attempt attempt) {
  if (unsigned char* p = attempt()) return p;
  bool gaveUp = false;
  for (bool first = true;; first = false) {
    if (gaveUp) return nullptr;
    if (!first && !MemoryManager::GetInstance().EmergencyManageMemory(size)) gaveUp = true;
    Heap::Compact();
    if (unsigned char* p = attempt()) return p;
  }
}

}  // namespace

unsigned char* MemoryManager::ManagedAllocate(uint64_t size) {
  return WithRecovery(size, [size]() -> unsigned char* {
    // Out of memory is an answer to retry on; anything else propagates.
    try {
      return Heap::ArrayNew(size);
    } catch (const std::bad_alloc&) {
      return nullptr;
    }
  });
}

unsigned char* MemoryManager::ManagedMallocate(uint64_t size) {
  return WithRecovery(size, [size]() { return static_cast<unsigned char*>(std::malloc(static_cast<size_t>(size))); });
}

unsigned char* Heap::ManagedReallocate(unsigned char* block, uint64_t size) {
  // A failed realloc leaves the block as it was, so each attempt starts over.
  return WithRecovery(size, [block, size]() { return Heap::Resize(block, size); });
}

MemoryManager::IDisposable* MemoryManager::GetResourceFromChecksum(IDisposable* const exclude,
                                                                   uint32_t checksum) const {
  if (checksum == 0) return nullptr;
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  for (auto& entry : m_registered) {
    Record& record = entry.second;
    if (record.checksum == 0) {
      const uint32_t computed = record.object->GetChecksum();
      record.checksum = computed != 0 ? computed : 1;
    }
    if (record.checksum == checksum && record.object != exclude) return record.object;
  }
  return nullptr;
}

void MemoryManager::Dump() const {
  std::lock_guard<std::recursive_mutex> hold(m_lock);
  for (const auto& entry : m_registered) entry.second.object->Dump();
}

}  // namespace Kernel
