// The typed bag helpers and the record layouts, run against the in-memory bag.
#include <kernel/MemoryPropertyBag.h>

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "Probe.h"

namespace {

using Kernel::CMemoryPropertyBag;

// The attribute keys in order, each followed by a comma: readable on failure.
std::string Keys(const CMemoryPropertyBag& bag) {
  std::string out;
  for (const CString& key : bag.GetAttributeKeys()) out += std::string(CStringA(key).GetString()) + ",";
  return out;
}

// The stored value of key; a missing key fails the test and reads as empty.
CVariant Attr(IClassProperty& bag, const wchar_t* key) {
  CVariant v;
  EXPECT_TRUE(bag.GetVariantAttribute(key, v)) << "missing " << CStringA(key).GetString();
  return v;
}

LOGFONTW Font(const wchar_t* face, int height) {
  LOGFONTW lf{};
  lf.lfHeight = height;
  lf.lfWeight = FW_NORMAL;
  lf.lfCharSet = DEFAULT_CHARSET;
  std::wcsncpy(lf.lfFaceName, face, LF_FACESIZE - 1);
  return lf;
}

// Writes the record (into a child when named), checks the keys and their
// order, and reads it back over garbage.
template <class T>
void ExpectRecord(const T& record, bool writeDefaults, const char* keys, const wchar_t* name = nullptr) {
  CMemoryPropertyBag bag;
  bag.SetWriteDefaults(writeDefaults);
  ASSERT_TRUE(bag.WriteClass(record, name));
  if (name) {
    ASSERT_EQ(bag.GetChildName(0), CString(name));
  }
  EXPECT_EQ(Keys(name ? *bag.GetChild(0) : bag), keys);
  T back;
  std::memset(&back, 0x5A, sizeof back);
  ASSERT_TRUE(bag.ReadClass(back, name));
  EXPECT_EQ(std::memcmp(&back, &record, sizeof record), 0);
}

// Only fields that differ from the writer's defaults are written, except the
// face name and the height, which always are; with write-defaults every key
// comes in a fixed order.
TEST(BagRecords, FontKeysAndRoundTrip) {
  ExpectRecord(Font(L"Arial", -12), false, "FaceName,Height,");
  ExpectRecord(Font(L"", 0), false, "FaceName,Height,");
  ExpectRecord(Font(L"Arial", 10), true,
               "FaceName,Height,Width,Escapement,Orientation,Weight,Italic,Underline,StrikeOut,CharSet,OutPrecision,"
               "ClipPrecision,Quality,PitchAndFamily,",
               L"font");
  LOGFONTW lf = Font(L"A face name that is longer than thirty-one", 20);
  EXPECT_EQ(std::wcslen(lf.lfFaceName), 31u);  // truncated to the field
  lf.lfWeight = FW_BOLD;
  lf.lfItalic = 1;
  lf.lfCharSet = ANSI_CHARSET;  // 0 differs from the default 1
  lf.lfQuality = 5;
  lf.lfEscapement = -900;
  ExpectRecord(lf, false, "FaceName,Height,Escapement,Weight,Italic,CharSet,Quality,");
  // The stored forms: the face as text, the height as a number.
  CMemoryPropertyBag bag;
  bag.WriteClass(Font(L"Arial", -12));
  EXPECT_EQ(Attr(bag, L"FaceName").GetString(), CString(L"Arial"));
  EXPECT_EQ(Attr(bag, L"Height").GetInt64(), -12);
}

TEST(BagRecords, PanoseKeysAndRoundTrip) {
  ExpectRecord(PANOSE{}, false, "");
  ExpectRecord(PANOSE{}, true,
               "XHeight,ArmStyle,FamilyType,SerifStyle,Weight,Proportion,Contrast,StrokeVariation,Letterform,Midline,");
  ExpectRecord(PANOSE{2, 11, 6, 4, 2, 0, 2, 0, 0, 4}, false,
               "XHeight,ArmStyle,FamilyType,SerifStyle,Weight,Proportion,Contrast,");
}

TEST(BagRecords, MissingFontKeysReadAsTheWritersDefaults) {
  CMemoryPropertyBag bag;
  bag.AddAttribute(L"Height", 14);
  LOGFONTW lf;
  std::memset(&lf, 0x5A, sizeof lf);
  ASSERT_TRUE(bag.ReadClass(lf));
  EXPECT_EQ(lf.lfHeight, 14);
  EXPECT_EQ(lf.lfWeight, FW_NORMAL);
  EXPECT_EQ(lf.lfCharSet, DEFAULT_CHARSET);
  EXPECT_EQ(lf.lfItalic, 0);
  EXPECT_EQ(lf.lfFaceName[0], L'\0');
}

TEST(BagRecords, StringRecord) {
  CMemoryPropertyBag bag;
  bag.WriteClass(CString(L"hello"), L"greeting");
  ASSERT_NE(bag.FindChild(L"greeting"), nullptr);
  EXPECT_EQ(Attr(*bag.FindChild(L"greeting"), L"_str").GetString(), CString(L"hello"));
  CString back;
  EXPECT_TRUE(bag.ReadClass(back, L"greeting"));
  EXPECT_EQ(back, CString(L"hello"));
  CString untouched(L"keep");
  EXPECT_FALSE(bag.ReadClass(untouched, L"absent"));
  EXPECT_EQ(untouched, CString(L"keep"));
}

TEST(BagHelpers, TypedWritersStoreTheVariantForms) {
  CMemoryPropertyBag bag;
  auto check = [&bag](const wchar_t* key, const auto& value, CVariant::Tag tag, const wchar_t* text) {
    bag.AddAttribute(key, value);
    const CVariant v = Attr(bag, key);
    EXPECT_EQ(v.GetTag(), tag) << CStringA(key).GetString();
    EXPECT_EQ(v.GetString(), CString(text)) << CStringA(key).GetString();
  };
  check(L"i", 5, CVariant::tagSigned, L"5");
  check(L"u", 5u, CVariant::tagUnsigned, L"5");
  check(L"b", true, CVariant::tagSigned, L"1");
  check(L"byte", static_cast<unsigned char>(200), CVariant::tagUnsigned, L"200");
  check(L"d", 0.25, CVariant::tagDouble, L"0.25");
  check(L"s", L"text", CVariant::tagInlineString, L"text");
  check(L"a", "utf8 \xC3\xA9", CVariant::tagInlineString, L"utf8 \u00e9");
  check(L"pt", CPoint(3, -4), CVariant::tagInlineString, L"3,-4");
  check(L"sz", CSize(1, 2), CVariant::tagInlineString, L"1,2");
  check(L"rc", CRect(1, 2, 3, 4), CVariant::tagInlineString, L"1,2,3,4");
  check(L"dp", DBLPOINT{0.5, 1}, CVariant::tagInlineString, L"0.5,1");
  check(L"cy", MakeCY(25000), CVariant::tagInlineString, L"2.5");
  check(L"g", GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}}, CVariant::tagHeapString,
        L"{00000001-0002-0003-0405-060708090a0b}");
  check(L"date", COleDateTime(2020, 1, 2, 3, 4, 5), CVariant::tagHeapString, L"02/01/2020 03:04:05");
  check(L"span", COleDateTimeSpan(2.5), CVariant::tagDouble, L"2.5");
  EXPECT_EQ(bag.GetAttributeCount(), 15);
  CPoint pt;
  EXPECT_TRUE(bag.GetAttribute(L"pt", pt));
  EXPECT_EQ(pt, CPoint(3, -4));
  COleDateTime date;
  EXPECT_TRUE(bag.GetAttribute(L"date", date));
  EXPECT_EQ(date, COleDateTime(2020, 1, 2, 3, 4, 5));
  int missing = 77;
  EXPECT_FALSE(bag.GetAttribute(L"nothing", missing));
  EXPECT_EQ(missing, 77);
}

TEST(BagHelpers, ArrayAttributes) {
  CMemoryPropertyBag bag;
  CArray<int> ints;
  ints.Add(-1);
  ints.Add(2);
  bag.AddAttribute(L"ints", ints);
  CArray<int> back;
  EXPECT_TRUE(bag.GetAttribute(L"ints", back));
  ASSERT_EQ(back.GetSize(), 2);
  EXPECT_EQ(back[0], -1);
  CDWordArray wrong;
  EXPECT_FALSE(bag.GetAttribute(L"ints", wrong));
  EXPECT_FALSE(bag.GetAttribute(L"nothing", back));
  EXPECT_EQ(back.GetSize(), 2);
}

TEST(MemoryBag, OrderReplacementChildrenAndFlags) {
  CMemoryPropertyBag bag;
  bag.AddAttribute(L"b", 1);
  bag.AddAttribute(L"a", 2);
  bag.AddAttribute(L"b", 3);  // replaced in place
  EXPECT_EQ(Keys(bag), "b,a,");
  EXPECT_EQ(bag.GetAttributeValue(0).GetInt64(), 3);
  EXPECT_TRUE(bag.RemoveAttribute(L"b"));
  EXPECT_FALSE(bag.RemoveAttribute(L"b"));
  EXPECT_EQ(Attr(bag, L"a").GetInt64(), 2);

  IClassProperty* first = bag.CreateChild(L"item");
  IClassProperty* second = bag.CreateChild(L"item");
  EXPECT_NE(first, second);
  EXPECT_EQ(bag.FindChild(L"item"), first);
  EXPECT_EQ(bag.FindChild(L"none"), nullptr);
  EXPECT_EQ(bag.GetChildCount(), 2);

  EXPECT_FALSE(first->IsWriteDefaults());
  bag.SetWriteDefaults(true);
  bag.SetResetMissing(true);
  EXPECT_TRUE(first->IsWriteDefaults());
  EXPECT_TRUE(second->IsResetMissing());
  EXPECT_TRUE(bag.CreateChild(L"late")->IsWriteDefaults());

  bag.Clear();
  EXPECT_EQ(bag.GetChildCount(), 0);
  EXPECT_EQ(bag.GetAttributeCount(), 0);
}

TEST(MemoryBag, HeldObjectsLiveAsLongAsTheTree) {
  persist_test::DeathLog log;
  {
    CMemoryPropertyBag bag;
    IClassProperty* child = bag.CreateChild(L"c");
    EXPECT_EQ(child->GetObjectHolder(), bag.GetObjectHolder());
    auto* object = new persist_test::Probe(&log);
    object->AddRef();
    child->GetObjectHolder()->Hold(object);
    object->Release();
    EXPECT_EQ(log.deaths, 0);
  }
  EXPECT_EQ(log.deaths, 1);
}

}  // namespace
