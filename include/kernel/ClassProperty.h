#pragma once
// The property bag: a tree of named attributes (each a CVariant) and named
// child bags. The host implements the storage; objects read and write
// themselves through it by name.

#include <kernel/Export.h>

class CVariant;

namespace Kernel {
class CRefCount;
}

// Supplied by a bag: keeps objects read from the bag alive as long as the bag.
class NK_API IObjectHolder {
 public:
  // Takes one reference on the object for the life of the bag.
  virtual void Hold(Kernel::CRefCount* object) = 0;
  virtual ~IObjectHolder();
};

class NK_API IClassProperty {
 public:
  // Reserved keys for unnamed values.
  static const wchar_t* const VALUE_TAG;    // "_value"
  static const wchar_t* const ITEM_TAG;     // "_item"
  static const wchar_t* const FIRST_TAG;    // "_first"
  static const wchar_t* const SECOND_TAG;   // "_second"
  static const wchar_t* const TEXT_TAG;     // "_text"
  static const wchar_t* const COMMENT_TAG;  // "_comment"
  static const wchar_t* const STRING_TAG;   // "_str", the string record

  // Store one attribute.
  virtual void AddVariantAttribute(const wchar_t* key, const CVariant& value) = 0;
  // Fetch one attribute; false when the bag has no such key.
  virtual bool GetVariantAttribute(const wchar_t* key, CVariant& value) = 0;
  // Open a new child bag for writing.
  virtual IClassProperty* CreateChild(const wchar_t* name) = 0;
  // The existing child bag for reading, or null.
  virtual IClassProperty* FindChild(const wchar_t* name) = 0;
  // True: writers write every field. False: they leave out default values.
  virtual bool IsWriteDefaults() const = 0;
  // True: readers reset fields whose key is missing to their defaults and
  // read a missing count as -1.
  virtual bool IsResetMissing() const;
  virtual IObjectHolder* GetObjectHolder() = 0;
  virtual void Clear();
  virtual void Populate();
  virtual ~IClassProperty();
};
