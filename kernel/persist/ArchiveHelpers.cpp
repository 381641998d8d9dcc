#include <kernel/Persist.h>

#include <kernel/CArchive.h>
#include <kernel/Exceptions.h>

namespace Kernel {

void SerializeSchema(CArchive& ar, int& schema) {
  if (ar.IsStoring()) {
    ar << static_cast<BYTE>(schema & 0xFF);
    return;
  }
  // On entry schema is the newest number this reader understands.
  const int newest = schema;
  BYTE stored = 0;
  ar >> stored;
  schema = stored;
  if (schema > newest) throw CArchiveException(CArchiveException::badSchema, L"Unknown schema");
}

CArchive& operator<<(CArchive& ar, bool value) {
  if (!ar.IsStoring()) throw CArchiveException(CArchiveException::readOnly, ar.m_strFileName);
  return ar << static_cast<BYTE>(value ? 1 : 0);
}

CArchive& operator>>(CArchive& ar, bool& value) {
  if (!ar.IsLoading()) throw CArchiveException(CArchiveException::writeOnly, ar.m_strFileName);
  BYTE stored = 0;
  ar >> stored;
  value = stored != 0;
  return ar;
}

}  // namespace Kernel

namespace Persist {

uint32_t AppendLoadMapPtr(CArchive& ar, void* p) {
  // The archive owns the array; m_nMapCount is the next free slot.
  const uint32_t index = ar.m_nMapCount;
  ar.m_pLoadArray->SetAtGrow(static_cast<INT_PTR>(index), p);
  ++ar.m_nMapCount;
  return index;
}

void* GetLoadMapPtr(const CArchive& ar, uint32_t index) {
  if (index >= GetLoadMapPtrCount(ar)) throw CInvalidArgException();
  return ar.m_pLoadArray->GetAt(index);
}

uint32_t GetLoadMapPtrCount(const CArchive& ar) { return static_cast<uint32_t>(ar.m_pLoadArray->GetSize()); }

}  // namespace Persist
