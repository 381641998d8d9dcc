#include <kernel/Persist.h>

#include <kernel/CArchive.h>
#include <kernel/Exceptions.h>

#include <atomic>

namespace Persist {

namespace {

// Objects may die during process exit after the registry is gone; they must
// not reach for it then.
std::atomic<bool> g_registryGone{false};

}  // namespace

CArchiveMaps& CArchiveMaps::Instance() {
  static CArchiveMaps instance;
  return instance;
}

CArchiveMaps::CArchiveMaps() = default;

CArchiveMaps::~CArchiveMaps() {
  CSingleLock lock(&m_lock, TRUE);
  // Maps still open at exit outlive the registry: they must not call back.
  for (auto& entry : m_maps) entry.second->m_owner = nullptr;
  m_maps.clear();
  g_registryGone.store(true, std::memory_order_release);
}

void CArchiveMaps::ForgetDestroyed(const void* p) {
  if (!g_registryGone.load(std::memory_order_acquire)) Instance().RemovePtr(p);
}

CPtrMap* CArchiveMaps::FindMap(CArchive* ar) const {
  const auto found = m_maps.find(ar);
  return found == m_maps.end() ? nullptr : found->second;
}

void CArchiveMaps::OpenArchive(CArchive& ar) {
  CSingleLock lock(&m_lock, TRUE);
  CPtrMap* map = FindMap(&ar);
  if (!map) map = new CPtrMap(&ar, this);
  map->AddRef();
}

void CArchiveMaps::CloseArchive(CArchive& ar) {
  CSingleLock lock(&m_lock, TRUE);
  // The last release destroys the map, which unregisters itself.
  if (CPtrMap* map = FindMap(&ar)) map->Release();
}

CPtrMap& CArchiveMaps::GetMap(CArchive& ar) const {
  CSingleLock lock(&m_lock, TRUE);
  CPtrMap* map = FindMap(&ar);
  if (!map) throw CArchiveException(CArchiveException::genericException);
  return *map;
}

CPtrMap* CArchiveMaps::CheckMap(CArchive& ar) const {
  CSingleLock lock(&m_lock, TRUE);
  return FindMap(&ar);
}

int CArchiveMaps::RemovePtr(const void* p) {
  CSingleLock lock(&m_lock, TRUE);
  int removed = 0;
  for (auto& entry : m_maps) removed += entry.second->RemovePtr(p);
  return removed;
}

int CArchiveMaps::GetMapCount() const {
  CSingleLock lock(&m_lock, TRUE);
  return static_cast<int>(m_maps.size());
}

void CArchiveMaps::AddMap(CArchive* ar, CPtrMap* map) {
  CSingleLock lock(&m_lock, TRUE);
  m_maps[ar] = map;
}

void CArchiveMaps::RemoveMap(CArchive* ar) {
  CSingleLock lock(&m_lock, TRUE);
  m_maps.erase(ar);
}

CPtrMapsSession::CPtrMapsSession(CArchive& ar) : m_archive(&ar) { CArchiveMaps::Instance().OpenArchive(ar); }

CPtrMapsSession::~CPtrMapsSession() { CArchiveMaps::Instance().CloseArchive(*m_archive); }

CPtrMap& CPtrMapsSession::GetMap() const { return CArchiveMaps::Instance().GetMap(*m_archive); }

}  // namespace Persist
