#include <kernel/ClassProperty.h>

#include <algorithm>
#include <iterator>
#include <type_traits>

const wchar_t* const IClassProperty::VALUE_TAG = L"_value";
const wchar_t* const IClassProperty::ITEM_TAG = L"_item";
const wchar_t* const IClassProperty::FIRST_TAG = L"_first";
const wchar_t* const IClassProperty::SECOND_TAG = L"_second";
const wchar_t* const IClassProperty::TEXT_TAG = L"_text";
const wchar_t* const IClassProperty::COMMENT_TAG = L"_comment";
const wchar_t* const IClassProperty::STRING_TAG = L"_str";

IObjectHolder::~IObjectHolder() = default;

bool IClassProperty::IsResetMissing() const { return false; }

void IClassProperty::Clear() {}

void IClassProperty::Populate() {}

IClassProperty::~IClassProperty() = default;

// --- Typed readers -----------------------------------------------------------------

namespace {
template <class A>
bool GetArrayAttribute(IClassProperty& bag, const wchar_t* key, A& value) {
  CVariant v;
  return bag.GetVariantAttribute(key, v) && v.GetArray(value);
}
}  // namespace

bool IClassProperty::GetAttribute(const wchar_t* key, CByteArray& value) {
  return GetArrayAttribute(*this, key, value);
}
bool IClassProperty::GetAttribute(const wchar_t* key, CWordArray& value) {
  return GetArrayAttribute(*this, key, value);
}
bool IClassProperty::GetAttribute(const wchar_t* key, CDWordArray& value) {
  return GetArrayAttribute(*this, key, value);
}
bool IClassProperty::GetAttribute(const wchar_t* key, CArray<int>& value) {
  return GetArrayAttribute(*this, key, value);
}
bool IClassProperty::GetAttribute(const wchar_t* key, CArray<bool>& value) {
  return GetArrayAttribute(*this, key, value);
}

// --- Records -------------------------------------------------------------------------

namespace {

// One integer field of a record: its key, where it lives and its default.
template <class Record>
struct Field {
  const wchar_t* key;
  int (*get)(const Record&);
  void (*set)(Record&, int);
  int defaultValue;
};

#define NK_FIELD(Record, key, member, def)                                           \
  Field<Record> {                                                                    \
    key, [](const Record& r) { return static_cast<int>(r.member); },                 \
        [](Record& r, int v) { r.member = static_cast<decltype(r.member)>(v); }, def \
  }

// Written in this order; FaceName goes first, before all of these.
const Field<LOGFONTW> kFontFields[] = {
    NK_FIELD(LOGFONTW, L"Height", lfHeight, 0),
    NK_FIELD(LOGFONTW, L"Width", lfWidth, 0),
    NK_FIELD(LOGFONTW, L"Escapement", lfEscapement, 0),
    NK_FIELD(LOGFONTW, L"Orientation", lfOrientation, 0),
    NK_FIELD(LOGFONTW, L"Weight", lfWeight, FW_NORMAL),
    NK_FIELD(LOGFONTW, L"Italic", lfItalic, 0),
    NK_FIELD(LOGFONTW, L"Underline", lfUnderline, 0),
    NK_FIELD(LOGFONTW, L"StrikeOut", lfStrikeOut, 0),
    NK_FIELD(LOGFONTW, L"CharSet", lfCharSet, DEFAULT_CHARSET),
    NK_FIELD(LOGFONTW, L"OutPrecision", lfOutPrecision, 0),
    NK_FIELD(LOGFONTW, L"ClipPrecision", lfClipPrecision, 0),
    NK_FIELD(LOGFONTW, L"Quality", lfQuality, 0),
    NK_FIELD(LOGFONTW, L"PitchAndFamily", lfPitchAndFamily, 0),
};

// Deliberately not the structure's order.
const Field<PANOSE> kPanoseFields[] = {
    NK_FIELD(PANOSE, L"XHeight", bXHeight, 0),       NK_FIELD(PANOSE, L"ArmStyle", bArmStyle, 0),
    NK_FIELD(PANOSE, L"FamilyType", bFamilyType, 0), NK_FIELD(PANOSE, L"SerifStyle", bSerifStyle, 0),
    NK_FIELD(PANOSE, L"Weight", bWeight, 0),         NK_FIELD(PANOSE, L"Proportion", bProportion, 0),
    NK_FIELD(PANOSE, L"Contrast", bContrast, 0),     NK_FIELD(PANOSE, L"StrokeVariation", bStrokeVariation, 0),
    NK_FIELD(PANOSE, L"Letterform", bLetterform, 0), NK_FIELD(PANOSE, L"Midline", bMidline, 0),
};
#undef NK_FIELD

// Byte fields go out as unsigned integers, the long ones as signed, as the
// typed writers would store the structure's own members.
template <class Record>
void WriteFields(IClassProperty& bag, const Record& r, const Field<Record>* fields, size_t count, bool always) {
  const bool all = bag.IsWriteDefaults();
  for (size_t i = 0; i < count; ++i) {
    const Field<Record>& f = fields[i];
    const int v = f.get(r);
    if (!all && !(always && i == 0) && v == f.defaultValue) continue;
    if constexpr (std::is_same_v<Record, PANOSE>) {
      bag.AddAttribute(f.key, static_cast<unsigned char>(v));
    } else {
      if (i >= 5) {
        bag.AddAttribute(f.key, static_cast<unsigned char>(v));
      } else {
        bag.AddAttribute(f.key, v);
      }
    }
  }
}

template <class Record>
void ReadFields(IClassProperty& bag, Record& r, const Field<Record>* fields, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    CVariant v;
    const Field<Record>& f = fields[i];
    f.set(r, bag.GetVariantAttribute(f.key, v) ? static_cast<int>(v) : f.defaultValue);
  }
}

}  // namespace

bool IClassProperty::WriteRecord(const CString& value) {
  AddAttribute(STRING_TAG, value);
  return true;
}

bool IClassProperty::ReadRecord(CString& value) {
  CVariant v;
  value = GetVariantAttribute(STRING_TAG, v) ? v.GetString() : CString();
  return true;
}

bool IClassProperty::WriteRecord(const LOGFONTW& value) {
  wchar_t face[LF_FACESIZE + 1] = {};
  for (int i = 0; i < LF_FACESIZE && value.lfFaceName[i]; ++i) face[i] = value.lfFaceName[i];
  AddAttribute(L"FaceName", face);
  // Height is always written, the rest only when they differ from the default.
  WriteFields(*this, value, kFontFields, std::size(kFontFields), true);
  return true;
}

bool IClassProperty::ReadRecord(LOGFONTW& value) {
  CVariant face;
  const CString name = GetVariantAttribute(L"FaceName", face) ? face.GetString() : CString();
  std::fill(std::begin(value.lfFaceName), std::end(value.lfFaceName), L'\0');
  for (int i = 0; i < name.GetLength() && i < LF_FACESIZE - 1; ++i) value.lfFaceName[i] = name[i];
  ReadFields(*this, value, kFontFields, std::size(kFontFields));
  return true;
}

bool IClassProperty::WriteRecord(const PANOSE& value) {
  WriteFields(*this, value, kPanoseFields, std::size(kPanoseFields), false);
  return true;
}

bool IClassProperty::ReadRecord(PANOSE& value) {
  ReadFields(*this, value, kPanoseFields, std::size(kPanoseFields));
  return true;
}
