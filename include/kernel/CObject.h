#pragma once
// CObject and run-time class information. A class that uses the DECLARE_ /
// IMPLEMENT_ macro pairs gets a static CRuntimeClass describing it; classes
// implemented with IMPLEMENT_DYNCREATE or IMPLEMENT_SERIAL can also be
// created from their name (CRuntimeClass::FromName, CreateObject).
//
// The macros work for classes inside namespaces: write the IMPLEMENT_ macro
// inside the namespace, with the unqualified class name (which is also the
// name recorded in m_lpszClassName). The base class may be qualified.
#include <iosfwd>

#include <kernel/Export.h>
#include <kernel/WinTypes.h>

class CObject;
class CArchive;

// m_wSchema of classes that cannot be serialised.
constexpr UINT NK_NO_SCHEMA = 0xFFFF;
// Marks a schema number whose readers accept older versions.
constexpr UINT VERSIONABLE_SCHEMA = 0x80000000u;

struct NK_API CRuntimeClass {
  const char* m_lpszClassName;
  int m_nObjectSize;
  UINT m_wSchema;
  CObject* (*m_pfnCreateObject)();
  CRuntimeClass* m_pBaseClass;

  // A new object of this class, or nullptr when the class cannot be created
  // dynamically (or construction ran out of memory).
  CObject* CreateObject() const;
  // True when this class is `base` or derives from it.
  BOOL IsDerivedFrom(const CRuntimeClass* base) const;

  // The creatable class registered under this name, or nullptr.
  static CRuntimeClass* FromName(const char* className);
  static CRuntimeClass* FromName(const wchar_t* className);
  // FromName(className)->CreateObject(), nullptr when unknown.
  static CObject* CreateObject(const char* className);
  static CObject* CreateObject(const wchar_t* className);
};

// Registers a class with the name registry for as long as it lives; the
// IMPLEMENT_DYNCREATE and IMPLEMENT_SERIAL macros create one per class. A
// second class registered under a name already taken does not replace the
// first.
struct NK_API AFX_CLASSINIT {
  explicit AFX_CLASSINIT(CRuntimeClass* cls);
  ~AFX_CLASSINIT();
  AFX_CLASSINIT(const AFX_CLASSINIT&) = delete;
  AFX_CLASSINIT& operator=(const AFX_CLASSINIT&) = delete;

 private:
  CRuntimeClass* m_class;
};

NK_API void AfxClassInit(CRuntimeClass* cls);

class NK_API CObject {
 public:
  virtual ~CObject();
  virtual CRuntimeClass* GetRuntimeClass() const;
  // Objects write themselves into, or read themselves from, an archive. The
  // root does nothing.
  virtual void Serialize(CArchive& ar);
  virtual void AssertValid() const;
  // Writes a one-line description ("a CFoo at 0x...") for diagnostics.
  virtual void Dump(std::ostream& os) const;

  BOOL IsKindOf(const CRuntimeClass* cls) const;
  BOOL IsSerializable() const;

  static const CRuntimeClass classCObject;
  static constexpr CRuntimeClass* GetThisClass() noexcept { return const_cast<CRuntimeClass*>(&classCObject); }

 protected:
  CObject() noexcept = default;
  CObject(const CObject&) noexcept = default;
  CObject& operator=(const CObject&) noexcept = default;
};

#define RUNTIME_CLASS(class_name) (class_name::GetThisClass())

#define DECLARE_DYNAMIC(class_name)                                    \
 public:                                                               \
  static const CRuntimeClass class##class_name;                        \
  static constexpr CRuntimeClass* GetThisClass() noexcept {            \
    return const_cast<CRuntimeClass*>(&class_name::class##class_name); \
  }                                                                    \
  CRuntimeClass* GetRuntimeClass() const override;

#define DECLARE_DYNCREATE(class_name) \
  DECLARE_DYNAMIC(class_name)         \
  static CObject* CreateObject();

#define DECLARE_SERIAL(class_name) DECLARE_DYNCREATE(class_name)

#define NK_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, schema, create)                                    \
  const CRuntimeClass class_name::class##class_name = {#class_name, static_cast<int>(sizeof(class_name)), schema, \
                                                       create, RUNTIME_CLASS(base_class_name)};                   \
  CRuntimeClass* class_name::GetRuntimeClass() const { return RUNTIME_CLASS(class_name); }

#define IMPLEMENT_DYNAMIC(class_name, base_class_name) \
  NK_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, NK_NO_SCHEMA, nullptr)

#define IMPLEMENT_DYNCREATE(class_name, base_class_name)                                          \
  CObject* class_name::CreateObject() { return new class_name; }                                  \
  NK_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, NK_NO_SCHEMA, &class_name::CreateObject) \
  static const AFX_CLASSINIT NkClassInit_##class_name(RUNTIME_CLASS(class_name));

#define IMPLEMENT_SERIAL(class_name, base_class_name, wSchema)                               \
  CObject* class_name::CreateObject() { return new class_name; }                             \
  NK_IMPLEMENT_RUNTIMECLASS(class_name, base_class_name, wSchema, &class_name::CreateObject) \
  static const AFX_CLASSINIT NkClassInit_##class_name(RUNTIME_CLASS(class_name));
