#pragma once
// The property bag: a tree of named attributes (each a CVariant) and named
// child bags. The host implements the storage; objects read and write
// themselves through it by name, using the typed helpers below.

#include <kernel/CArray.h>
#include <kernel/COleDateTime.h>
#include <kernel/CRect.h>
#include <kernel/CString.h>
#include <kernel/CTime.h>
#include <kernel/Export.h>
#include <kernel/LogFont.h>
#include <kernel/RefCount.h>
#include <kernel/ValueTypes.h>
#include <kernel/Variant.h>

namespace Kernel {
class CRefCount;
struct Allocator;
template <class Alloc>
class RefRawData;
}  // namespace Kernel

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

  // --- What the storage implements, in this slot order ---------------------
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
  virtual IObjectHolder* GetObjectHolder() = 0;
  virtual void Clear();
  virtual void Populate();
  virtual ~IClassProperty();
  // True: readers reset fields whose key is missing to their defaults and
  // read a missing count as -1.
  virtual bool IsResetMissing() const;

  // --- Typed writers: each stores the value's variant form ------------------
  void AddAttribute(const wchar_t* key, const wchar_t* value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const char* value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, unsigned char value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, short value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, unsigned short value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, wchar_t value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, int value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, unsigned int value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, long value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, unsigned long value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, long long value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, unsigned long long value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, float value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, double value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, bool value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CY& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CString& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const COleDateTime& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const COleDateTimeSpan& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const RECT& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const POINT& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const SIZE& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const DBLPOINT& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const DBLSIZE& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const DBLRECT& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CArray<bool>& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CByteArray& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CArray<int>& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CWordArray& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CDWordArray& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const GUID& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const FILETIME& value) { AddVariantAttribute(key, CVariant(value)); }
  void AddAttribute(const wchar_t* key, const CTime& value) { AddVariantAttribute(key, CVariant(value)); }

  // --- Typed readers ----------------------------------------------------------
  // Arrays: false (container untouched) when the key is missing or its value
  // is not an array of that element type.
  bool GetAttribute(const wchar_t* key, CByteArray& value);
  bool GetAttribute(const wchar_t* key, CWordArray& value);
  bool GetAttribute(const wchar_t* key, CDWordArray& value);
  bool GetAttribute(const wchar_t* key, CArray<int>& value);
  bool GetAttribute(const wchar_t* key, CArray<bool>& value);
  // Any other value a variant converts to; false (value untouched) when the
  // key is missing.
  template <class T>
  bool GetAttribute(const wchar_t* key, T& value) {
    CVariant v;
    if (!GetVariantAttribute(key, v)) return false;
    T converted = v;
    value = converted;
    return true;
  }

  // --- Records: CString, LOGFONTW and PANOSE ---------------------------------
  // With a name, into a new child of that name (reading fails when the child
  // is absent); without, into this bag. Readers give a missing key the
  // writer's default.
  template <class T>
  bool WriteClass(const T& value, const wchar_t* name = nullptr) {
    IClassProperty* bag = name ? CreateChild(name) : this;
    return bag && bag->WriteRecord(value);
  }
  template <class T>
  bool ReadClass(T& value, const wchar_t* name = nullptr) {
    IClassProperty* bag = name ? FindChild(name) : this;
    return bag && bag->ReadRecord(value);
  }

  // --- Raw data blocks ------------------------------------------------------------
  // Stores the block's bytes (as a binary variant) under the key; a null
  // block stores an empty value. Reading gives a new block, or false when
  // the key is missing or holds no binary value.
  void CP_SaveBlob(const wchar_t* key, const Kernel::CPtr<Kernel::RefRawData<Kernel::Allocator>>& blob);
  bool CP_LoadBlob(const wchar_t* key, Kernel::CPtr<Kernel::RefRawData<Kernel::Allocator>>& blob);

 private:
  bool WriteRecord(const CString& value);
  bool WriteRecord(const LOGFONTW& value);
  bool WriteRecord(const PANOSE& value);
  bool ReadRecord(CString& value);
  bool ReadRecord(LOGFONTW& value);
  bool ReadRecord(PANOSE& value);
};
