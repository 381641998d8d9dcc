#include <kernel/CString.h>
#include <kernel/Exceptions.h>

#include <gtest/gtest.h>

#include <string>

namespace {

TEST(CString, CopiesShareTheBufferUntilOneChanges) {
  // Every mutating member must unshare first.
  struct Case {
    const char* name;
    void (*change)(CString&);
    const wchar_t* expect;
  };
  const Case cases[] = {
      {"SetAt", [](CString& s) { s.SetAt(0, L'A'); }, L"Abc"},
      {"Append", [](CString& s) { s += L"!"; }, L"abc!"},
      {"MakeUpper", [](CString& s) { s.MakeUpper(); }, L"ABC"},
      {"MakeReverse", [](CString& s) { s.MakeReverse(); }, L"cba"},
      {"Replace", [](CString& s) { s.Replace(L'b', L'x'); }, L"axc"},
      {"Remove", [](CString& s) { s.Remove(L'b'); }, L"ac"},
      {"Delete", [](CString& s) { s.Delete(0, 2); }, L"c"},
      {"Insert", [](CString& s) { s.Insert(1, L"--"); }, L"a--bc"},
      {"Truncate", [](CString& s) { s.Truncate(1); }, L"a"},
      {"GetBuffer",
       [](CString& s) {
         s.GetBuffer()[1] = L'B';
         s.ReleaseBuffer();
       },
       L"aBc"},
      {"Format", [](CString& s) { s.Format(L"%d", 7); }, L"7"},
  };
  for (const Case& c : cases) {
    CString original(L"abc");
    CString copy = original;
    EXPECT_EQ(copy.GetString(), original.GetString());  // one buffer
    c.change(copy);
    EXPECT_NE(copy.GetString(), original.GetString()) << c.name;
    EXPECT_STREQ(original, L"abc") << c.name;
    EXPECT_STREQ(copy, c.expect) << c.name;
  }
}

TEST(CString, IsOnePointerAndEmptyStringsNeedNoAllocation) {
  static_assert(sizeof(CString) == sizeof(void*));
  CString a, b;
  EXPECT_EQ(a.GetString(), b.GetString());
  EXPECT_EQ(a.GetLength(), 0);
  EXPECT_STREQ(a, L"");
  CString c(L"x");
  c.Empty();
  EXPECT_EQ(c.GetString(), a.GetString());
}

TEST(CString, ConvertsBetweenWidthsThroughUtf8) {
  CString w("gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");  // "grüß 😀"
  ASSERT_EQ(w.GetLength(), 6);
  EXPECT_EQ(w[2], L'\u00FC');
  EXPECT_EQ(static_cast<uint32_t>(w[5]), 0x1F600u);
  CStringA back(w);
  EXPECT_STREQ(back, "gr\xC3\xBC\xC3\x9F \xF0\x9F\x98\x80");
  // Malformed bytes become U+FFFD rather than being dropped.
  CString bad(
      "a\xFF"
      "b\xC3");
  EXPECT_STREQ(bad, L"a\uFFFDb\uFFFD");
}

TEST(CString, SearchingAndSlicing) {
  CString s(L"one,two,,three");
  EXPECT_EQ(s.Find(L','), 3);
  EXPECT_EQ(s.Find(L',', 4), 7);
  EXPECT_EQ(s.Find(L"two"), 4);
  EXPECT_EQ(s.Find(L"four"), -1);
  EXPECT_EQ(s.Find(L"", 99), -1);
  EXPECT_EQ(s.ReverseFind(L','), 8);
  EXPECT_EQ(s.FindOneOf(L"wt"), 4);
  EXPECT_STREQ(s.Left(3), L"one");
  EXPECT_STREQ(s.Left(-2), L"");
  EXPECT_STREQ(s.Left(100), L"one,two,,three");
  EXPECT_STREQ(s.Mid(4, 3), L"two");
  EXPECT_STREQ(s.Mid(9), L"three");
  EXPECT_STREQ(s.Mid(100), L"");
  EXPECT_STREQ(s.Mid(-5, 3), L"one");
  EXPECT_STREQ(s.Right(5), L"three");
  EXPECT_STREQ(s.SpanIncluding(L"eno"), L"one");
  EXPECT_STREQ(s.SpanExcluding(L","), L"one");

  // Tokenize skips runs of delimiters and reports the end with -1.
  int pos = 0;
  std::wstring joined;
  for (CString t = s.Tokenize(L",", pos); pos != -1; t = s.Tokenize(L",", pos)) joined += std::wstring(t) + L"|";
  EXPECT_EQ(joined, L"one|two|three|");
}

TEST(CString, CompareIsOrdinalAndCaseFoldingOptional) {
  struct Case {
    const wchar_t* a;
    const wchar_t* b;
    int cmp;
    int nocase;
  };
  const Case cases[] = {
      {L"abc", L"abc", 0, 0},
      {L"abc", L"abd", -1, -1},
      {L"ab", L"abc", -1, -1},
      {L"ABC", L"abc", -1, 0},
      {L"b", L"A", 1, 1},
      {L"", L"", 0, 0},
      // Ordinal: code points beyond the BMP sort after everything in it.
      {L"\U0001F600", L"\uFFFF", 1, 1},
  };
  for (const Case& c : cases) {
    CString a(c.a);
    EXPECT_EQ(a.Compare(c.b), c.cmp) << static_cast<const wchar_t*>(a);
    EXPECT_EQ(a.CompareNoCase(c.b), c.nocase) << static_cast<const wchar_t*>(a);
  }
  EXPECT_TRUE(CString(L"x") == L"x");
  EXPECT_TRUE(CString(L"x") != CString(L"y"));
  EXPECT_TRUE(CString(L"a") < CString(L"b"));
  // Narrow strings compare bytes as unsigned.
  EXPECT_GT(CStringA("\xC3").Compare("a"), 0);
}

TEST(CString, TrimAndCase) {
  CString s(L" \t text \r\n");
  EXPECT_STREQ(CString(s).TrimLeft(), L"text \r\n");
  EXPECT_STREQ(CString(s).TrimRight(), L" \t text");
  EXPECT_STREQ(CString(s).Trim(), L"text");
  EXPECT_STREQ(CString(L"xxaxx").Trim(L'x'), L"a");
  EXPECT_STREQ(CString(L"-+a+-").Trim(L"+-"), L"a");
  EXPECT_STREQ(CString(L"   ").Trim(), L"");
  EXPECT_STREQ(CString(L"MiXeD").MakeLower(), L"mixed");
  EXPECT_STREQ(CString(L"MiXeD").MakeUpper(), L"MIXED");
  EXPECT_STREQ(CStringA("MiXeD 1").MakeUpper(), "MIXED 1");
}

TEST(CString, ReplaceAndRemove) {
  CString s(L"aXbXXc");
  EXPECT_EQ(s.Replace(L"X", L"--"), 3);
  EXPECT_STREQ(s, L"a--b----c");
  EXPECT_EQ(s.Replace(L"--", L""), 3);
  EXPECT_STREQ(s, L"abc");
  EXPECT_EQ(s.Replace(L"zz", L"y"), 0);
  EXPECT_EQ(s.Replace(L"", L"y"), 0);
  CString r(L"banana");
  EXPECT_EQ(r.Remove(L'a'), 3);
  EXPECT_STREQ(r, L"bnn");
  EXPECT_EQ(r.Delete(1, 100), 1);
  EXPECT_STREQ(r, L"b");
}

TEST(CString, AppendingItselfAndGrowth) {
  CString s(L"ab");
  s += s;
  EXPECT_STREQ(s, L"abab");
  s.Append(s.GetString() + 1, 2);  // a slice of our own buffer
  EXPECT_STREQ(s, L"ababba");
  CString big;
  for (int i = 0; i < 5000; ++i) big.AppendChar(static_cast<wchar_t>(L'a' + i % 26));
  EXPECT_EQ(big.GetLength(), 5000);
  EXPECT_EQ(big[4999], static_cast<wchar_t>(L'a' + 4999 % 26));
  CString joined = CString(L"x") + L"y" + CString(L"z") + L'!';
  EXPECT_STREQ(joined, L"xyz!");
}

TEST(CString, BufferAccess) {
  CString s;
  wchar_t* p = s.GetBuffer(10);
  wcscpy(p, L"hello");
  s.ReleaseBuffer();
  EXPECT_EQ(s.GetLength(), 5);
  p = s.GetBufferSetLength(3);
  EXPECT_EQ(s.GetLength(), 3);
  p[2] = L'L';
  s.ReleaseBuffer(3);
  EXPECT_STREQ(s, L"heL");
  s.Preallocate(100);
  EXPECT_GE(s.GetAllocLength(), 100);
  s.FreeExtra();
  EXPECT_EQ(s.GetAllocLength(), 3);
}

TEST(CString, BadIndexesThrowInvalidArg) {
  CString s(L"abc");
  EXPECT_THROW(s.GetAt(3), CInvalidArgException);
  EXPECT_THROW(s.GetAt(-1), CInvalidArgException);
  EXPECT_THROW(s.SetAt(5, L'x'), CInvalidArgException);
  EXPECT_THROW(s.Truncate(4), CInvalidArgException);
  EXPECT_THROW(CString(L"x", -1), CInvalidArgException);
}

TEST(CString, RepeatAndNullConstruction) {
  EXPECT_STREQ(CString(L'z', 4), L"zzzz");
  EXPECT_STREQ(CString(L'z', 0), L"");
  EXPECT_STREQ(CString(static_cast<const wchar_t*>(nullptr)), L"");
  EXPECT_STREQ(CString(L"abcdef", 3), L"abc");
  CString s(L"x");
  s = static_cast<const wchar_t*>(nullptr);
  EXPECT_TRUE(s.IsEmpty());
  s = "utf8 \xE2\x82\xAC";
  EXPECT_STREQ(s, L"utf8 \u20AC");
}

}  // namespace
