#pragma once
// Property bags the library ships: CMemoryPropertyBag, an in-memory tree that
// keeps attributes and children in the order they were added, and
// CXmlPropertyBag, the same tree saved to and loaded from an XML document.
#include <memory>
#include <unordered_map>
#include <utility>
#include <vector>

#include <kernel/ClassProperty.h>
#include <kernel/CString.h>
#include <kernel/Export.h>
#include <kernel/RefCount.h>
#include <kernel/Variant.h>

namespace Kernel {

class NK_API CMemoryPropertyBag : public IClassProperty {
 public:
  CMemoryPropertyBag();
  CMemoryPropertyBag(const CMemoryPropertyBag&) = delete;
  CMemoryPropertyBag& operator=(const CMemoryPropertyBag&) = delete;
  ~CMemoryPropertyBag() override;

  // Storing a key that is already there replaces its value in place.
  void AddVariantAttribute(const wchar_t* key, const CVariant& value) override;
  bool GetVariantAttribute(const wchar_t* key, CVariant& value) override;
  // Always a new child, even when one of that name exists (lists of items
  // are written as repeated children); it inherits both flags.
  IClassProperty* CreateChild(const wchar_t* name) override;
  // The first child of that name, or null.
  IClassProperty* FindChild(const wchar_t* name) override;
  bool IsWriteDefaults() const override { return m_writeDefaults; }
  // Objects held for the bag live as long as the whole tree.
  IObjectHolder* GetObjectHolder() override;
  // Drops every attribute and child (objects already held stay held).
  void Clear() override;
  bool IsResetMissing() const override { return m_resetMissing; }

  // Both apply to this bag and every child it has or will have.
  void SetWriteDefaults(bool on);
  void SetResetMissing(bool on);

  std::vector<CString> GetAttributeKeys() const;
  int GetAttributeCount() const { return static_cast<int>(m_attributes.size()); }
  const CString& GetAttributeKey(int index) const { return m_attributes.at(static_cast<size_t>(index)).first; }
  const CVariant& GetAttributeValue(int index) const { return m_attributes.at(static_cast<size_t>(index)).second; }
  bool RemoveAttribute(const wchar_t* key);
  int GetChildCount() const { return static_cast<int>(m_children.size()); }
  const CString& GetChildName(int index) const { return m_children.at(static_cast<size_t>(index)).first; }
  CMemoryPropertyBag* GetChild(int index) const { return m_children.at(static_cast<size_t>(index)).second.get(); }
  // Creates a child of this bag (the typed form of CreateChild).
  CMemoryPropertyBag* AddChild(const wchar_t* name);

  // Same keys, values (compared kind and content), children and names, in
  // the same order.
  bool IsEqual(const CMemoryPropertyBag& other) const;

 private:
  class Holder;

  std::vector<std::pair<CString, CVariant>> m_attributes;
  std::unordered_map<CString, size_t> m_index;  // key -> position in m_attributes
  std::vector<std::pair<CString, std::unique_ptr<CMemoryPropertyBag>>> m_children;
  CMemoryPropertyBag* m_root;
  std::unique_ptr<Holder> m_holder;  // root only
  bool m_writeDefaults = false;
  bool m_resetMissing = false;
};

// The tree as an XML document:
//   <propertybag>
//     <attribute key="Width" type="int" value="12"/>
//     <child name="Font"> ...the same again... </child>
//   </propertybag>
// Types: empty, string, int, uint, double (shortest exact text), error. Values
// reload to equal variants; inline and heap strings reload as they were
// stored.
class NK_API CXmlPropertyBag : public CMemoryPropertyBag {
 public:
  // Writes the document to a temporary file beside `path`, flushes it, and
  // renames it over `path`, so a failure never leaves a half-written file.
  // Throws CFileException when the file cannot be written.
  void Save(const wchar_t* path) const;
  // Replaces the bag's contents with the document's. Throws CFileException
  // when the file cannot be read and CArchiveException (genericException,
  // with the file, position and reason in m_strFileName) when it is not a
  // well-formed bag document; the bag is then left empty.
  void Load(const wchar_t* path);

  // The same, in memory (UTF-8 text).
  CStringA SaveToString() const;
  void LoadFromString(const char* text, size_t length, const wchar_t* sourceName = nullptr);
};

}  // namespace Kernel
