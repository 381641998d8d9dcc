// The typed bag helpers and the record layouts, run against the in-memory bag.
#include <kernel/MemoryPropertyBag.h>

#include <gtest/gtest.h>

#include <cstring>
#include <vector>

namespace {

using Kernel::CMemoryPropertyBag;

std::vector<CString> Keys(const CMemoryPropertyBag& bag) { return bag.GetAttributeKeys(); }

std::vector<CString> Strings(std::initializer_list<const wchar_t*> list) {
  std::vector<CString> out;
  for (const wchar_t* s : list) out.emplace_back(s);
  return out;
}

LOGFONTW Font(const wchar_t* face, int height) {
  LOGFONTW lf{};
  lf.lfHeight = height;
  lf.lfWeight = FW_NORMAL;
  lf.lfCharSet = DEFAULT_CHARSET;
  std::wcsncpy(lf.lfFaceName, face, LF_FACESIZE - 1);
  return lf;
}

TEST(BagRecords, DefaultFontWritesFaceAndHeightOnly) {
  CMemoryPropertyBag bag;
  ASSERT_TRUE(bag.WriteClass(Font(L"Arial", -12)));
  EXPECT_EQ(Keys(bag), Strings({L"FaceName", L"Height"}));
  CVariant v;
  ASSERT_TRUE(bag.GetVariantAttribute(L"FaceName", v));
  EXPECT_EQ(v.GetString(), CString(L"Arial"));
  ASSERT_TRUE(bag.GetVariantAttribute(L"Height", v));
  EXPECT_EQ(v.GetInt64(), -12);
  // Height is written even when it is zero.
  CMemoryPropertyBag zero;
  zero.WriteClass(Font(L"", 0));
  EXPECT_EQ(Keys(zero), Strings({L"FaceName", L"Height"}));
}

TEST(BagRecords, WriteDefaultsGivesEveryFontKeyInOrder) {
  CMemoryPropertyBag bag;
  bag.SetWriteDefaults(true);
  bag.WriteClass(Font(L"Arial", 10), L"font");
  auto* child = bag.GetChild(0);
  ASSERT_NE(child, nullptr);
  EXPECT_EQ(bag.GetChildName(0), CString(L"font"));
  EXPECT_EQ(Keys(*child), Strings({L"FaceName", L"Height", L"Width", L"Escapement", L"Orientation", L"Weight",
                                   L"Italic", L"Underline", L"StrikeOut", L"CharSet", L"OutPrecision", L"ClipPrecision",
                                   L"Quality", L"PitchAndFamily"}));
}

TEST(BagRecords, FontFieldsThatDifferAreWrittenAndReadBack) {
  LOGFONTW lf = Font(L"A face name that is longer than thirty-one", 20);
  lf.lfWeight = FW_BOLD;
  lf.lfItalic = 1;
  lf.lfCharSet = ANSI_CHARSET;  // 0 differs from the default 1
  lf.lfQuality = 5;
  lf.lfEscapement = -900;
  CMemoryPropertyBag bag;
  bag.WriteClass(lf);
  EXPECT_EQ(Keys(bag), Strings({L"FaceName", L"Height", L"Escapement", L"Weight", L"Italic", L"CharSet", L"Quality"}));
  LOGFONTW back;
  std::memset(&back, 0x5A, sizeof back);
  ASSERT_TRUE(bag.ReadClass(back));
  EXPECT_EQ(std::memcmp(&back, &lf, sizeof lf), 0);
  EXPECT_EQ(std::wcslen(back.lfFaceName), 31u);
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

TEST(BagRecords, PanoseOrderAndDefaults) {
  CMemoryPropertyBag empty;
  empty.WriteClass(PANOSE{});
  EXPECT_TRUE(Keys(empty).empty());

  CMemoryPropertyBag all;
  all.SetWriteDefaults(true);
  all.WriteClass(PANOSE{});
  EXPECT_EQ(Keys(all), Strings({L"XHeight", L"ArmStyle", L"FamilyType", L"SerifStyle", L"Weight", L"Proportion",
                                L"Contrast", L"StrokeVariation", L"Letterform", L"Midline"}));

  const PANOSE p{2, 11, 6, 4, 2, 0, 2, 0, 0, 4};
  CMemoryPropertyBag bag;
  bag.WriteClass(p);
  EXPECT_EQ(Keys(bag),
            Strings({L"XHeight", L"ArmStyle", L"FamilyType", L"SerifStyle", L"Weight", L"Proportion", L"Contrast"}));
  PANOSE back;
  std::memset(&back, 0x77, sizeof back);
  ASSERT_TRUE(bag.ReadClass(back));
  EXPECT_EQ(std::memcmp(&back, &p, sizeof p), 0);
}

TEST(BagRecords, StringRecord) {
  CMemoryPropertyBag bag;
  bag.WriteClass(CString(L"hello"), L"greeting");
  CVariant v;
  ASSERT_NE(bag.FindChild(L"greeting"), nullptr);
  ASSERT_TRUE(bag.FindChild(L"greeting")->GetVariantAttribute(L"_str", v));
  EXPECT_EQ(v.GetString(), CString(L"hello"));
  CString back;
  EXPECT_TRUE(bag.ReadClass(back, L"greeting"));
  EXPECT_EQ(back, CString(L"hello"));
  CString untouched(L"keep");
  EXPECT_FALSE(bag.ReadClass(untouched, L"absent"));
  EXPECT_EQ(untouched, CString(L"keep"));
}

TEST(BagHelpers, TypedWritersStoreTheVariantForms) {
  CMemoryPropertyBag bag;
  bag.AddAttribute(L"i", 5);
  bag.AddAttribute(L"u", 5u);
  bag.AddAttribute(L"b", true);
  bag.AddAttribute(L"byte", static_cast<unsigned char>(200));
  bag.AddAttribute(L"d", 0.25);
  bag.AddAttribute(L"s", L"text");
  bag.AddAttribute(L"a", "utf8 \xC3\xA9");
  bag.AddAttribute(L"pt", CPoint(3, -4));
  bag.AddAttribute(L"sz", CSize(1, 2));
  bag.AddAttribute(L"rc", CRect(1, 2, 3, 4));
  bag.AddAttribute(L"dp", DBLPOINT{0.5, 1});
  bag.AddAttribute(L"cy", MakeCY(25000));
  bag.AddAttribute(L"g", GUID{1, 2, 3, {4, 5, 6, 7, 8, 9, 10, 11}});
  bag.AddAttribute(L"date", COleDateTime(2020, 1, 2, 3, 4, 5));
  bag.AddAttribute(L"span", COleDateTimeSpan(2.5));
  struct Case {
    const wchar_t* key;
    CVariant::Tag tag;
    const wchar_t* text;
  };
  const Case cases[] = {
      {L"i", CVariant::tagSigned, L"5"},
      {L"u", CVariant::tagUnsigned, L"5"},
      {L"b", CVariant::tagSigned, L"1"},
      {L"byte", CVariant::tagUnsigned, L"200"},
      {L"d", CVariant::tagDouble, L"0.25"},
      {L"s", CVariant::tagInlineString, L"text"},
      {L"a", CVariant::tagInlineString, L"utf8 \u00e9"},
      {L"pt", CVariant::tagInlineString, L"3,-4"},
      {L"sz", CVariant::tagInlineString, L"1,2"},
      {L"rc", CVariant::tagInlineString, L"1,2,3,4"},
      {L"dp", CVariant::tagInlineString, L"0.5,1"},
      {L"cy", CVariant::tagInlineString, L"2.5"},
      {L"g", CVariant::tagHeapString, L"{00000001-0002-0003-0405-060708090a0b}"},
      {L"date", CVariant::tagHeapString, L"02/01/2020 03:04:05"},
      {L"span", CVariant::tagDouble, L"2.5"},
  };
  for (const Case& c : cases) {
    CVariant v;
    ASSERT_TRUE(bag.GetVariantAttribute(c.key, v)) << CStringA(c.key).GetString();
    EXPECT_EQ(v.GetTag(), c.tag) << CStringA(c.key).GetString();
    EXPECT_EQ(v.GetString(), CString(c.text)) << CStringA(c.key).GetString();
  }
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
  EXPECT_EQ(Keys(bag), Strings({L"b", L"a"}));
  EXPECT_EQ(bag.GetAttributeValue(0).GetInt64(), 3);
  EXPECT_TRUE(bag.RemoveAttribute(L"b"));
  EXPECT_FALSE(bag.RemoveAttribute(L"b"));
  CVariant v;
  EXPECT_TRUE(bag.GetVariantAttribute(L"a", v));
  EXPECT_EQ(v.GetInt64(), 2);

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

class Counted : public Kernel::CRefCount {
 public:
  explicit Counted(int* destroyed) : m_destroyed(destroyed) {}
  ~Counted() override { ++*m_destroyed; }

 private:
  int* m_destroyed;
};

TEST(MemoryBag, HeldObjectsLiveAsLongAsTheTree) {
  int destroyed = 0;
  {
    CMemoryPropertyBag bag;
    IClassProperty* child = bag.CreateChild(L"c");
    EXPECT_EQ(child->GetObjectHolder(), bag.GetObjectHolder());
    auto* object = new Counted(&destroyed);
    object->AddRef();
    child->GetObjectHolder()->Hold(object);
    object->Release();
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

}  // namespace
