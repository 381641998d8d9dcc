// How values are stored: the twelve-byte layout, inline and heap strings,
// the kinds and predicates, copies and moves.
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <cstring>

namespace {

struct Bytes {
  unsigned char b[12];
};
Bytes RawBytes(const CVariant& v) {
  Bytes r;
  std::memcpy(r.b, &v, 12);
  return r;
}

// Each constructor picks its kind, and the kind sits in the last byte.
TEST(VariantStorage, ConstructorsPickTheKindKeptInTheLastByte) {
  struct Case {
    CVariant value;
    int tag;
  };
  const Case cases[] = {
      {CVariant(), 2},
      {CVariant(L"abc"), 0},
      {CVariant(L"a text longer than eleven"), 1},
      {CVariant(-7), 3},
      {CVariant(7u), 4},
      {CVariant(2.5), 5},
      {CVariant(VariantError::DivisionByZero), 6},
      {CVariant(true), CVariant::tagSigned},
      {CVariant('x'), CVariant::tagSigned},
      {CVariant(short{-3}), CVariant::tagSigned},
      {CVariant(int64_t{-3}), CVariant::tagSigned},
      {CVariant(static_cast<unsigned char>(3)), CVariant::tagUnsigned},
      {CVariant(static_cast<unsigned short>(3)), CVariant::tagUnsigned},
      {CVariant(L'x'), CVariant::tagUnsigned},
      {CVariant(uint64_t{3}), CVariant::tagUnsigned},
      {CVariant(1.5f), CVariant::tagDouble},
      {CVariant(POINT{1, 2}), CVariant::tagInlineString},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(RawBytes(c.value).b[11], c.tag) << c.value.GetStringA().GetString();
    EXPECT_EQ(c.value.GetTag(), c.tag) << c.value.GetStringA().GetString();
  }
  EXPECT_EQ(CVariant(true).GetInt64(), 1);
  EXPECT_EQ(CVariant(false).GetInt64(), 0);
}

TEST(VariantStorage, InlineAndHeapStrings) {
  struct Case {
    const wchar_t* text;
    bool inlined;
  };
  const Case cases[] = {
      {L"", true},
      {L"hello", true},
      {L"abcdefghijk", true},                            // exactly 11 bytes
      {L"abcdefghijkl", false},                          // 12 bytes
      {L"\u00e9\u00e9\u00e9\u00e9\u00e9", true},         // 10 UTF-8 bytes
      {L"\u00e9\u00e9\u00e9\u00e9\u00e9\u00e9", false},  // 12 UTF-8 bytes in 6 characters
      {L"\u20ac\u20ac\u20ac", true},                     // 9 bytes
      {L"\U0001F600\U0001F600", true},                   // 8 bytes beyond the BMP
      {L"\U0001F600\U0001F600\U0001F600", false},        // 12 bytes
  };
  for (const Case& c : cases) {
    const CVariant v(c.text);
    EXPECT_EQ(v.IsInlineString(), c.inlined) << CStringA(c.text).GetString();
    EXPECT_TRUE(v.IsString());
    EXPECT_EQ(v.GetString(), CString(c.text));
    EXPECT_EQ(CVariant(CStringA(c.text)).GetString(), CString(c.text));
  }
}

TEST(VariantStorage, ElevenByteTextIsTerminatedByTheTag) {
  const CVariant v("abcdefghijk");
  const Bytes b = RawBytes(v);
  EXPECT_EQ(std::memcmp(b.b, "abcdefghijk", 11), 0);
  EXPECT_EQ(b.b[11], 0);
  EXPECT_STREQ(v.GetInlineUtf8(), "abcdefghijk");
  wchar_t wide[12];
  EXPECT_EQ(v.GetInlineString(wide), 11);
  EXPECT_STREQ(wide, L"abcdefghijk");
  // A shorter text writes its own terminator.
  EXPECT_EQ(RawBytes(CVariant("abc")).b[3], 0);
}

TEST(VariantStorage, Predicates) {
  struct Case {
    CVariant value;
    bool empty, error, string, dbl, integral, number, pod;
  };
  const Case cases[] = {
      {CVariant(), true, false, false, false, false, false, true},
      // Null texts give empty.
      {CVariant(static_cast<const wchar_t*>(nullptr)), true, false, false, false, false, false, true},
      {CVariant(static_cast<const char*>(nullptr)), true, false, false, false, false, false, true},
      {CVariant(nullptr), true, false, false, false, false, false, true},
      {CVariant(L"x"), false, false, true, false, false, false, true},
      {CVariant(L"a heap string of text"), false, false, true, false, false, false, false},
      {CVariant(1), false, false, false, false, true, true, true},
      {CVariant(1u), false, false, false, false, true, true, true},
      {CVariant(1.0), false, false, false, true, false, true, true},
      {CVariant(VariantError::BadOperand), false, true, false, false, false, false, true},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value.GetStringA().GetString());
    EXPECT_EQ(c.value.IsEmpty(), c.empty);
    EXPECT_EQ(c.value.IsError(), c.error);
    EXPECT_EQ(c.value.IsString(), c.string);
    EXPECT_EQ(c.value.IsDouble(), c.dbl);
    EXPECT_EQ(c.value.IsIntegral(), c.integral);
    EXPECT_EQ(c.value.IsNumber(), c.number);
    EXPECT_EQ(c.value.IsPod(), c.pod);
  }
}

TEST(VariantStorage, CopiesAreIndependentAndMovesEmptyTheSource) {
  CVariant heap(L"a text that lives on the heap");
  CVariant copy(heap);
  EXPECT_EQ(copy.GetString(), heap.GetString());
  heap = 5;  // the old heap string is freed, the copy keeps its own
  EXPECT_EQ(copy.GetString(), CString(L"a text that lives on the heap"));
  EXPECT_EQ(heap.GetInt64(), 5);

  CVariant moved(std::move(copy));
  EXPECT_TRUE(copy.IsEmpty());  // NOLINT(bugprone-use-after-move): moving empties
  EXPECT_EQ(moved.GetString(), CString(L"a text that lives on the heap"));

  CVariant target(L"another heap-held piece of text");
  target = std::move(moved);
  EXPECT_TRUE(moved.IsEmpty());  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(target.GetString(), CString(L"a text that lives on the heap"));

  const CVariant& alias = target;
  target = alias;  // self-assignment keeps the value
  EXPECT_EQ(target.GetString(), CString(L"a text that lives on the heap"));
  target.Clear();
  EXPECT_TRUE(target.IsEmpty());
}

TEST(VariantStorage, MemoryEstimate) {
  EXPECT_EQ(CVariant().EstimateMemoryUsed(), 12u);
  EXPECT_EQ(CVariant(1.5).EstimateMemoryUsed(), 12u);
  EXPECT_EQ(CVariant(L"short").EstimateMemoryUsed(), 12u);
  // 20 characters: (21 * 2 + 23) = 65, rounded down to 64.
  EXPECT_EQ(CVariant(L"twenty characters!!!").EstimateMemoryUsed(), 12u + 64u);
  struct Case {
    int length;
    uint64_t estimate;
  };
  const Case cases[] = {{0, 24}, {1, 24}, {2, 28}, {3, 28}, {12, 48}};
  for (const Case& c : cases) EXPECT_EQ(EstimateMemoryUsed(CString(L'x', c.length)), c.estimate) << c.length;
  EXPECT_EQ(EstimateMemoryUsed(CString()), 24u);
}

TEST(VariantStorage, ErrorsCarryTheirCodeAndText) {
  for (int code = 1; code <= 7; ++code) {
    const CVariant v(static_cast<VariantError::Type>(code));
    EXPECT_EQ(v.GetError(), code);
    const wchar_t* text = GetVariantErrorText(static_cast<VariantError::Type>(code));
    ASSERT_NE(text, nullptr);
    EXPECT_EQ(v.GetString(), CString(text));
    EXPECT_EQ(v.GetInt64(), 0);
    EXPECT_EQ(v.GetDouble(), 0.0);
  }
  EXPECT_EQ(CVariant(static_cast<VariantError::Type>(9)).GetString(), CString(L"Error"));
  EXPECT_EQ(GetVariantErrorText(static_cast<VariantError::Type>(0)), nullptr);
  EXPECT_EQ(CVariant(3).GetError(), 0);
}

}  // namespace
