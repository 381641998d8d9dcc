#include <kernel/PropHandler.h>

#include <kernel/CObject.h>
#include <kernel/TypeName.h>

#include <cstring>
#include <string>
#include <typeinfo>

IPropHandler::~IPropHandler() = default;

const wchar_t* IPropHandler::GetFork() const { return nullptr; }

bool IPropHandler::IsForkLightweight() const { return true; }

const char* IPropHandler::GetRuntimeClassName() const {
  const CObject* object = dynamic_cast<const CObject*>(this);
  if (!object) return nullptr;
  const CRuntimeClass* runtimeClass = object->GetRuntimeClass();
  return runtimeClass ? runtimeClass->m_lpszClassName : nullptr;
}

const char* IPropHandler::GetOutputRuntimeClassName() const { return GetRuntimeClassName(); }

bool IPropHandler::IsValidClassName(const char* name) const {
  if (!name) return false;
  // The generic name belongs to no concrete class.
  if (std::strcmp(name, "SCObject") == 0) return false;

  // Some platforms spell a type "class Kernel::CFoo": whatever precedes the
  // last blank is not part of the name.
  std::string qualified = Kernel::GetTypeName(typeid(*this));
  const size_t blank = qualified.rfind(' ');
  if (blank != std::string::npos) qualified.erase(0, blank + 1);
  if (qualified == name) return true;

  const size_t colon = qualified.rfind(':');
  if (colon != std::string::npos && qualified.compare(colon + 1, std::string::npos, name) == 0) return true;

  const char* output = GetOutputRuntimeClassName();
  return output && std::strcmp(output, name) == 0;
}
