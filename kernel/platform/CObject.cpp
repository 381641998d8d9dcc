#include <kernel/CObject.h>

#include <kernel/Sync.h>

#include <cstring>
#include <map>
#include <new>
#include <ostream>
#include <string>

#include "platform/Utf.h"

namespace {

// The process-wide table of creatable classes, by name. Built on first use so
// that registrations from static initialisers in any order find it.
struct ClassRegistry {
  CCriticalSection lock;
  std::map<std::string, CRuntimeClass*, std::less<>> byName;

  static ClassRegistry& Instance() {
    static ClassRegistry registry;
    return registry;
  }
};

}  // namespace

const CRuntimeClass CObject::classCObject = {"CObject", static_cast<int>(sizeof(CObject)), NK_NO_SCHEMA, nullptr,
                                             nullptr};

CObject::~CObject() = default;

CRuntimeClass* CObject::GetRuntimeClass() const { return GetThisClass(); }

void CObject::Serialize(CArchive&) {}

void CObject::AssertValid() const {}

void CObject::Dump(std::ostream& os) const {
  os << "a " << GetRuntimeClass()->m_lpszClassName << " at " << static_cast<const void*>(this) << '\n';
}

BOOL CObject::IsKindOf(const CRuntimeClass* cls) const { return GetRuntimeClass()->IsDerivedFrom(cls); }

BOOL CObject::IsSerializable() const { return GetRuntimeClass()->m_wSchema != NK_NO_SCHEMA ? TRUE : FALSE; }

CObject* CRuntimeClass::CreateObject() const {
  if (!m_pfnCreateObject) return nullptr;
  try {
    return m_pfnCreateObject();
  } catch (const std::bad_alloc&) {
    return nullptr;
  }
}

BOOL CRuntimeClass::IsDerivedFrom(const CRuntimeClass* base) const {
  if (!base) return FALSE;
  for (const CRuntimeClass* c = this; c; c = c->m_pBaseClass) {
    if (c == base) return TRUE;
  }
  return FALSE;
}

CRuntimeClass* CRuntimeClass::FromName(const char* className) {
  if (!className) return nullptr;
  ClassRegistry& reg = ClassRegistry::Instance();
  CSingleLock guard(&reg.lock, TRUE);
  auto it = reg.byName.find(std::string_view(className));
  return it == reg.byName.end() ? nullptr : it->second;
}

CRuntimeClass* CRuntimeClass::FromName(const wchar_t* className) {
  if (!className) return nullptr;
  std::string narrow = Kernel::Utf::WideToUtf8(className, std::wcslen(className));
  return FromName(narrow.c_str());
}

CObject* CRuntimeClass::CreateObject(const char* className) {
  CRuntimeClass* c = FromName(className);
  return c ? c->CreateObject() : nullptr;
}

CObject* CRuntimeClass::CreateObject(const wchar_t* className) {
  CRuntimeClass* c = FromName(className);
  return c ? c->CreateObject() : nullptr;
}

void AfxClassInit(CRuntimeClass* cls) {
  if (!cls || !cls->m_lpszClassName) return;
  ClassRegistry& reg = ClassRegistry::Instance();
  CSingleLock guard(&reg.lock, TRUE);
  reg.byName.emplace(cls->m_lpszClassName, cls);
}

AFX_CLASSINIT::AFX_CLASSINIT(CRuntimeClass* cls) : m_class(cls) { AfxClassInit(cls); }

AFX_CLASSINIT::~AFX_CLASSINIT() {
  if (!m_class || !m_class->m_lpszClassName) return;
  // Forget the class when its module goes away, but only if the entry is
  // ours (another class may hold the name).
  ClassRegistry& reg = ClassRegistry::Instance();
  CSingleLock guard(&reg.lock, TRUE);
  auto it = reg.byName.find(std::string_view(m_class->m_lpszClassName));
  if (it != reg.byName.end() && it->second == m_class) reg.byName.erase(it);
}
