#include <kernel/RefCount.h>

#include <kernel/CArchive.h>
#include <kernel/ClassProperty.h>
#include <kernel/Persist.h>

#include <cassert>

namespace Kernel {

CRefCount::~CRefCount() {
  const int32_t count = m_count.load(std::memory_order_acquire);
  // Destroying an object that counted owners still point at leaves them
  // dangling. 1 is allowed: the archive's pointer map may hold the last
  // reference of an object that its owner destroys directly.
  assert((count == 0 || count == 1 || count == c_inReleaseCount) && "object destroyed while still referenced");
  if (count == 1) Persist::CArchiveMaps::ForgetDestroyed(this);
}

void CRefCount::DeleteThis() const {
  m_count.store(c_inReleaseCount, std::memory_order_relaxed);
  delete const_cast<CRefCount*>(this);
}

void CRefCount::AddRef(int n) const noexcept {
  // Plain read-modify-write: used only by the owning thread.
  m_count.store(m_count.load(std::memory_order_relaxed) + n, std::memory_order_relaxed);
}

void CRefCount::Release(int n) const {
  const int32_t left = m_count.load(std::memory_order_relaxed) - n;
  m_count.store(left, std::memory_order_relaxed);
  if (left == 0) DeleteThis();
}

bool CRefCount::GetProperties(IClassProperty*) const { return true; }

bool CRefCount::SetProperties(IClassProperty* bag) {
  // The reference taken here makes an unowned object (count 0) disappear at
  // the Release below unless the bag's holder kept it.
  AddRef();
  if (bag) {
    if (IObjectHolder* holder = bag->GetObjectHolder()) holder->Hold(this);
  }
  Release();
  return true;
}

void CRefCount::Serialize(CArchive& ar) {
  if (ar.IsLoading()) Persist::CArchiveMaps::Instance().GetMap(ar).HoldRef<CRefCount>(this);
}

uint64_t CRefCount::Measure() const { return 0; }

}  // namespace Kernel
