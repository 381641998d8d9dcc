// The "_arr_" text form of every element letter, GetArray's count and
// capacity rules, and malformed arrays.
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <limits>

// GCC 12 at -O3 misreads CArray<BYTE>'s element relocation after two Add calls
// as an overflow (a known false positive of -Wstringop-overflow).
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wstringop-overflow"
#endif

namespace {

// The element count GetArray reports for element type T, or -1.
template <class T>
int Count(const CVariant& v) {
  return v.GetArray(static_cast<T*>(nullptr), 0);
}

template <class T, size_t N>
void ExpectRoundTrip(const T (&values)[N], const wchar_t* text) {
  CVariant v;
  v.SetArray(values, static_cast<int>(N));
  EXPECT_EQ(v.GetString(), CString(text));
  T back[N + 1] = {};
  EXPECT_EQ(v.GetArray(back, static_cast<int>(N) + 1), static_cast<int>(N));
  for (size_t i = 0; i < N; ++i) EXPECT_EQ(std::memcmp(&back[i], &values[i], sizeof(T)), 0) << text << " #" << i;
  // Read from the text alone, as a bag would hand it back.
  const CVariant reread{CString(text)};
  EXPECT_EQ(Count<T>(reread), static_cast<int>(N));
}

TEST(VariantArray, EveryElementLetter) {
  ExpectRoundTrip<bool>({true, false, true}, L"_arr_b:3:1;0;1");
  ExpectRoundTrip<char>({-128, 0, 127}, L"_arr_c:3:-128;0;127");
  ExpectRoundTrip<short>({-32768, 32767}, L"_arr_s:2:-32768;32767");
  ExpectRoundTrip<int>({1, 2, 3}, L"_arr_i:3:1;2;3");
  ExpectRoundTrip<int>({-2147483647 - 1}, L"_arr_i:1:-2147483648");
  ExpectRoundTrip<unsigned char>({0, 255}, L"_arr_B:2:0;255");
  ExpectRoundTrip<unsigned short>({65535, 1}, L"_arr_W:2:65535;1");
  ExpectRoundTrip<wchar_t>({L'A', L'\u20ac'}, L"_arr_W:2:65;8364");
  ExpectRoundTrip<unsigned>({4294967295u, 0}, L"_arr_D:2:4294967295;0");
  ExpectRoundTrip<float>({0.5f, -2.0f}, L"_arr_f:2:0.5;-2");
  ExpectRoundTrip<double>({0.1, 1e20, -0.333333333333333}, L"_arr_d:3:0.1;1e+20;-0.333333333333333");
  ExpectRoundTrip<POINT>({{1, -2}, {3, 4}}, L"_arr_p:2:1,-2;3,4");
  ExpectRoundTrip<SIZE>({{5, 6}}, L"_arr_z:1:5,6");
  ExpectRoundTrip<RECT>({{1, 2, 3, 4}, {-1, -2, -3, -4}}, L"_arr_r:2:1,2,3,4;-1,-2,-3,-4");
  ExpectRoundTrip<DBLPOINT>({{0.5, 1.5}}, L"_arr_P:1:0.5,1.5");
  ExpectRoundTrip<DBLSIZE>({{2.25, -0.125}}, L"_arr_Z:1:2.25,-0.125");
  ExpectRoundTrip<DBLRECT>({{0, 1, 2.5, 1e-5}}, L"_arr_R:1:0,1,2.5,1e-05");
}

TEST(VariantArray, EmptyArrayHasNothingAfterTheSecondColon) {
  CVariant v;
  v.SetArray(static_cast<const int*>(nullptr), 0);
  EXPECT_EQ(v.GetString(), CString(L"_arr_i:0:"));
  EXPECT_TRUE(v.IsInlineString());  // nine bytes
  EXPECT_EQ(Count<int>(v), 0);
}

TEST(VariantArray, CapacityLimitsWhatIsStoredNotTheCount) {
  CVariant v;
  const int values[] = {10, 20, 30, 40};
  v.SetArray(values, 4);
  int buffer[4] = {-1, -1, -1, -1};
  EXPECT_EQ(v.GetArray(buffer, 2), 4);
  EXPECT_EQ(buffer[0], 10);
  EXPECT_EQ(buffer[1], 20);
  EXPECT_EQ(buffer[2], -1);  // untouched beyond the capacity
  EXPECT_EQ(Count<int>(v), 4);
}

TEST(VariantArray, WrongLetterOrNoArrayGivesMinusOne) {
  CVariant ints;
  const int values[] = {1, 2};
  ints.SetArray(values, 2);
  EXPECT_EQ(Count<unsigned>(ints), -1);
  EXPECT_EQ(Count<double>(ints), -1);
  EXPECT_FALSE(ints.IsBinary());
  const CVariant others[] = {CVariant(), CVariant(12), CVariant(L"text"), CVariant(L"_arr_"), CVariant(1.5)};
  for (const CVariant& v : others) EXPECT_EQ(Count<int>(v), -1) << v.GetStringA().GetString();
}

TEST(VariantArray, MalformedTextsAreNotArrays) {
  const wchar_t* bad[] = {
      L"_arr_i:3:1;2",  // fewer elements than counted
      L"_arr_i:1:1;2",  // more
      L"_arr_i:2:1;;2",       L"_arr_i:2:1;2;",       L"_arr_i::",   L"_arr_i:x:1", L"_arr_i:-1:",
      L"_arr_i:1:2147483648",  // out of range for int
      L"_arr_B:1:256",        L"_arr_B:1:-1",         L"_arr_b:1:2", L"_arr_p:1:1", L"_arr_i:1:1.5",
      L"_arr_i:0:1",          L"_arr_i:99999999999:",
  };
  for (const wchar_t* text : bad) {
    const CVariant v(text);
    const wchar_t letter = text[5];
    const int n = letter == 'B'   ? Count<unsigned char>(v)
                  : letter == 'b' ? Count<bool>(v)
                  : letter == 'p' ? Count<POINT>(v)
                                  : Count<int>(v);
    EXPECT_EQ(n, -1) << CStringA(text).GetString();
  }
}

TEST(VariantArray, NamedArraysKeepColonsInTheName) {
  const CVariant v(L"_arr_Bmy:name:3:1;2;3");
  char letter = 0;
  CString name;
  int count = 0;
  ASSERT_TRUE(v.GetArrayInfo(letter, &name, &count));
  EXPECT_EQ(letter, 'B');
  EXPECT_EQ(name, CString(L"my:name"));
  EXPECT_EQ(count, 3);
  EXPECT_TRUE(v.IsBinary());
}

TEST(VariantArray, FrameworkContainers) {
  CArray<int> ints;
  for (int i = 0; i < 100; ++i) ints.Add(i * i - 50);
  CArray<int> intsBack;
  ASSERT_TRUE(CVariant(ints).GetArray(intsBack));
  ASSERT_EQ(intsBack.GetSize(), 100);
  for (int i = 0; i < 100; ++i) EXPECT_EQ(intsBack[i], ints[i]);

  CByteArray bytes;
  bytes.Add(0);
  bytes.Add(200);
  CByteArray bytesBack;
  ASSERT_TRUE(CVariant(bytes).GetArray(bytesBack));
  EXPECT_EQ(bytesBack.GetSize(), 2);
  EXPECT_EQ(bytesBack[1], 200);
  EXPECT_TRUE(CVariant(bytes).IsBinary());

  CWordArray words;
  words.Add(65535);
  EXPECT_EQ(CVariant(words).GetString(), CString(L"_arr_W:1:65535"));
  CDWordArray dwords;
  dwords.Add(4000000000u);
  EXPECT_EQ(CVariant(dwords).GetString(), CString(L"_arr_D:1:4000000000"));
  CArray<bool> flags;
  flags.Add(true);
  EXPECT_EQ(CVariant(flags).GetString(), CString(L"_arr_b:1:1"));

  CWordArray untouched;
  untouched.Add(7);
  EXPECT_FALSE(CVariant(ints).GetArray(untouched));
  EXPECT_EQ(untouched.GetSize(), 1);
}

}  // namespace
