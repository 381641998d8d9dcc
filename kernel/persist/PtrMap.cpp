#include <kernel/Persist.h>

#include <kernel/CArchive.h>
#include <kernel/Exceptions.h>

namespace Persist {

namespace {

// The holder lists of a registered map are guarded by the registry's lock; a
// free-standing map belongs to one thread and needs none.
class OwnerLock {
 public:
  explicit OwnerLock(CCriticalSection* lock) : m_lock(lock) {
    if (m_lock) m_lock->Lock(INFINITE);
  }
  ~OwnerLock() {
    if (m_lock) m_lock->Unlock();
  }
  OwnerLock(const OwnerLock&) = delete;
  OwnerLock& operator=(const OwnerLock&) = delete;

 private:
  CCriticalSection* m_lock;
};

}  // namespace

CHoldRef::~CHoldRef() = default;

CPtrMap::CPtrMap(CArchive* archive, CArchiveMaps* owner) : m_nextID(1), m_owner(owner), m_archive(archive) {
  if (m_owner) m_owner->AddMap(m_archive, this);
}

CPtrMap::~CPtrMap() {
  OwnerLock lock(m_owner ? &m_owner->m_lock : nullptr);
  // A release may destroy objects that other holders still list; those
  // objects take themselves out of the table (RemovePtr) while it is walked,
  // so the current holder stays in the table until its release is done.
  while (!m_holders.empty()) {
    auto first = m_holders.begin();
    first->second.ops->releaseAll(first->second.holder);
    CHoldRef* holder = first->second.holder;
    m_holders.erase(first);
    delete holder;
  }
  if (m_owner) m_owner->RemoveMap(m_archive);
}

int32_t CPtrMap::NextID() { return m_nextID++; }

void CPtrMap::AddStoreID(const void* p, int32_t id) { m_storeMap[p] = id; }

int32_t CPtrMap::GetStoreID(const void* p) const {
  const auto found = m_storeMap.find(p);
  return found == m_storeMap.end() ? -1 : found->second;
}

void CPtrMap::AddPtr(int32_t id, void* p) { m_loadMap[id] = p; }

void* CPtrMap::GetPtr(int32_t id) const {
  const auto found = m_loadMap.find(id);
  return found == m_loadMap.end() ? nullptr : found->second;
}

uint32_t CPtrMap::AppendLoadMapPtr(void* p) {
  if (!m_archive) throw CInvalidArgException();
  return Persist::AppendLoadMapPtr(*m_archive, p);
}

void* CPtrMap::GetLoadMapPtr(uint32_t index) const {
  if (!m_archive) throw CInvalidArgException();
  return Persist::GetLoadMapPtr(*m_archive, index);
}

uint32_t CPtrMap::GetLoadMapPtrCount() const { return m_archive ? Persist::GetLoadMapPtrCount(*m_archive) : 0; }

int CPtrMap::RemovePtr(const void* p) {
  OwnerLock lock(m_owner ? &m_owner->m_lock : nullptr);
  int removed = 0;
  for (auto& entry : m_holders) removed += entry.second.ops->remove(entry.second.holder, p);
  return removed;
}

void CPtrMap::HoldRefUsing(const std::string& typeName, const HolderOps* ops, void* p) {
  if (!p) return;
  OwnerLock lock(m_owner ? &m_owner->m_lock : nullptr);
  auto found = m_holders.find(typeName);
  if (found == m_holders.end()) {
    CHoldRef* holder = ops->create();
    try {
      found = m_holders.emplace(typeName, Holder{holder, ops}).first;
    } catch (...) {
      delete holder;
      throw;
    }
  }
  found->second.ops->add(found->second.holder, p);
}

int CPtrMap::GetHeldCountOf(const std::string& typeName) const {
  OwnerLock lock(m_owner ? &m_owner->m_lock : nullptr);
  const auto found = m_holders.find(typeName);
  return found == m_holders.end() ? 0 : found->second.ops->count(found->second.holder);
}

}  // namespace Persist
