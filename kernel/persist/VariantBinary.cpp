// Binary blocks travel as arrays of unsigned bytes ("_arr_B<name>:<n>:...")
// so that any bag able to store text can store them.
#include <kernel/ClassProperty.h>
#include <kernel/RawData.h>
#include <kernel/Variant.h>

#include <limits>
#include <string>

using Kernel::Allocator;
using Kernel::CPtr;
using Kernel::RefRawData;

CVariant::CVariant(const CPtr<RefRawData<Allocator>>& data, const wchar_t* name) {
  SetTag(tagEmpty);
  if (!data) return;
  const uint64_t size = data->GetSize();
  // The array count is an int; a larger block cannot be written as one.
  if (size > static_cast<uint64_t>(std::numeric_limits<int>::max())) return;
  const CStringA utf8(name ? name : L"");
  SetArrayText('B', data->GetConstData(), static_cast<int>(size),
               std::string_view(utf8.GetString(), static_cast<size_t>(utf8.GetLength())));
}

bool CVariant::GetBinary(CPtr<RefRawData<Allocator>>& data, CString* name) const {
  char letter = 0;
  CString storedName;
  int count = 0;
  if (!GetArrayInfo(letter, &storedName, &count) || letter != 'B') return false;
  CPtr<RefRawData<Allocator>> block(new RefRawData<Allocator>(static_cast<uint64_t>(count)));
  if (count > 0 && !block->IsValid()) return false;
  if (GetArray(count > 0 ? block->GetData() : nullptr, count) != count) return false;
  data = block;
  if (name) *name = storedName;
  return true;
}

void IClassProperty::CP_SaveBlob(const wchar_t* key, const CPtr<RefRawData<Allocator>>& blob) {
  AddVariantAttribute(key, CVariant(blob));
}

bool IClassProperty::CP_LoadBlob(const wchar_t* key, CPtr<RefRawData<Allocator>>& blob) {
  CVariant v;
  return GetVariantAttribute(key, v) && v.GetBinary(blob, nullptr);
}
