#include <kernel/RefCount.h>

namespace Kernel {

CIsImmutable::~CIsImmutable() = default;

void CIsImmutable::MakeImmutable() { m_immutable = true; }

void CIsImmutable::RecycleToMutable() { m_immutable = false; }

const CIsImmutable* CIsImmutable::BaseGetImmutable() const {
  if (m_immutable) return this;
  CIsImmutable* clone = CreateClone();
  clone->MakeImmutable();
  // Disposes of this object if nobody owns it; an owned one keeps its count.
  AddRef();
  Release();
  return clone;
}

}  // namespace Kernel
