#include <kernel/CArchive.h>
#include <kernel/CFile.h>

#include <gtest/gtest.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <utility>
#include <vector>

namespace {

std::vector<BYTE> Bytes(CMemFile& f) {
  const BYTE* p = f.GetBufferPtr();
  return std::vector<BYTE>(p, p + f.GetLength());
}

// Stores through `write`, then checks the bytes and hands a loading archive
// over the same bytes to `read`.
template <typename W, typename R>
std::vector<BYTE> RoundTrip(W write, R read, int bufSize = 4096) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store, bufSize);
    write(ar);
  }
  std::vector<BYTE> bytes = Bytes(file);
  file.SeekToBegin();
  CArchive ar(&file, CArchive::load, bufSize);
  read(ar);
  return bytes;
}

template <typename T>
T Read(CArchive& ar) {
  T v{};
  ar >> v;
  return v;
}

template <typename T>
void Skip(CArchive& ar) {
  (void)Read<T>(ar);
}

// The cause of the CArchiveException `f` throws, or -1 when it throws none.
template <typename F>
int ArchiveCause(F f) {
  try {
    f();
  } catch (const CArchiveException& e) {
    return e.m_cause;
  }
  return -1;
}

TEST(Archive, EveryScalarRoundTripsLittleEndian) {
  const BYTE b = 0xAB;
  const WORD w = 0x1234;
  const int i = -2;
  const LONG l = 0x7ABBCCDD;
  const DWORD d = 0x89ABCDEF;
  const LONGLONG ll = -0x0102030405060708LL;
  const ULONGLONG ull = 0xF1F2F3F4F5F6F7F8ULL;
  const float f = -1.5f;
  const double dbl = 3.141592653589793;
  const short s = -3;
  const char c = 'Q';
  const long long q = 5;
  std::vector<BYTE> bytes =
      RoundTrip([&](CArchive& ar) { ar << b << w << i << l << d << ll << ull << f << dbl << s << c << q; },
                [&](CArchive& ar) {
                  EXPECT_EQ(Read<BYTE>(ar), b);
                  EXPECT_EQ(Read<WORD>(ar), w);
                  EXPECT_EQ(Read<int>(ar), i);
                  EXPECT_EQ(Read<LONG>(ar), l);
                  EXPECT_EQ(Read<DWORD>(ar), d);
                  EXPECT_EQ(Read<LONGLONG>(ar), ll);
                  EXPECT_EQ(Read<ULONGLONG>(ar), ull);
                  EXPECT_EQ(Read<float>(ar), f);
                  EXPECT_EQ(Read<double>(ar), dbl);
                  EXPECT_EQ(Read<short>(ar), s);
                  EXPECT_EQ(Read<char>(ar), c);
                  EXPECT_EQ(Read<long long>(ar), q);
                });
  const std::vector<BYTE> expect = {
      0xAB,                                            // BYTE
      0x34, 0x12,                                      // WORD
      0xFE, 0xFF, 0xFF, 0xFF,                          // int -2
      0xDD, 0xCC, 0xBB, 0x7A,                          // LONG
      0xEF, 0xCD, 0xAB, 0x89,                          // DWORD
      0xF8, 0xF8, 0xF9, 0xFA, 0xFB, 0xFC, 0xFD, 0xFE,  // -0x0102030405060708
      0xF8, 0xF7, 0xF6, 0xF5, 0xF4, 0xF3, 0xF2, 0xF1,  // ULONGLONG
      0x00, 0x00, 0xC0, 0xBF,                          // -1.5f
      0x18, 0x2D, 0x44, 0x54, 0xFB, 0x21, 0x09, 0x40,  // pi
      0xFD, 0xFF,                                      // short -3
      'Q',                                             // char
      5,    0,    0,    0,    0,    0,    0,    0,     // long long
  };
  EXPECT_EQ(bytes, expect);
  // Special doubles keep their exact bits.
  for (double v : {0.0, -0.0, std::numeric_limits<double>::infinity(), std::numeric_limits<double>::denorm_min(),
                   std::numeric_limits<double>::quiet_NaN()}) {
    RoundTrip([&](CArchive& ar) { ar << v; },
              [&](CArchive& ar) {
                const double r = Read<double>(ar);
                EXPECT_EQ(std::memcmp(&r, &v, 8), 0) << v;
              });
  }
}

TEST(Archive, WideStringFormatByLength) {
  struct Case {
    int length;
    std::vector<BYTE> prefix;  // marker and length bytes
  };
  const Case cases[] = {
      {0, {0xFF, 0xFE, 0xFF, 0x00}},
      {3, {0xFF, 0xFE, 0xFF, 0x03}},
      {254, {0xFF, 0xFE, 0xFF, 0xFE}},
      {255, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0x00}},
      {0xFFFD, {0xFF, 0xFE, 0xFF, 0xFF, 0xFD, 0xFF}},
      {0xFFFE, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFE, 0xFF, 0x00, 0x00}},
      {70000, {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x70, 0x11, 0x01, 0x00}},
  };
  for (const Case& c : cases) {
    CString s;
    for (int i = 0; i < c.length; ++i) s.AppendChar(static_cast<wchar_t>(L'A' + i % 26));
    std::vector<BYTE> bytes = RoundTrip([&](CArchive& ar) { ar << s; },
                                        [&](CArchive& ar) { EXPECT_TRUE(Read<CString>(ar) == s) << c.length; });
    ASSERT_EQ(bytes.size(), c.prefix.size() + 2u * c.length) << c.length;
    EXPECT_TRUE(std::equal(c.prefix.begin(), c.prefix.end(), bytes.begin())) << c.length;
    if (c.length > 0) {
      EXPECT_EQ(bytes[c.prefix.size()], 'A');
      EXPECT_EQ(bytes[c.prefix.size() + 1], 0);
    }
  }
}

TEST(Archive, StringsTravelAsUtf16AndNarrowOnesWithoutMarker) {
  CString s(L"\u00E9\U0001F600");
  std::vector<BYTE> bytes =
      RoundTrip([&](CArchive& ar) { ar << s; }, [&](CArchive& ar) { EXPECT_STREQ(Read<CString>(ar), s); });
  // Three UTF-16 units: é and a surrogate pair.
  EXPECT_EQ(bytes, (std::vector<BYTE>{0xFF, 0xFE, 0xFF, 3, 0xE9, 0x00, 0x3D, 0xD8, 0x00, 0xDE}));

  // A narrow string reads into either width.
  CStringA a("abc");
  bytes = RoundTrip([&](CArchive& ar) { ar << a << a; },
                    [&](CArchive& ar) {
                      EXPECT_STREQ(Read<CString>(ar), L"abc");
                      EXPECT_STREQ(Read<CStringA>(ar), "abc");
                    });
  EXPECT_EQ(bytes, (std::vector<BYTE>{3, 'a', 'b', 'c', 3, 'a', 'b', 'c'}));
  // Bytes that are not UTF-8 survive a narrow round trip untouched, and text
  // pointers go in as wide strings.
  RoundTrip([](CArchive& ar) { ar << CStringA("\xE9t\xE9") << "caf\xC3\xA9" << L"x"; },
            [](CArchive& ar) {
              EXPECT_STREQ(Read<CStringA>(ar), "\xE9t\xE9");
              EXPECT_STREQ(Read<CStringA>(ar), "caf\xC3\xA9");
              EXPECT_STREQ(Read<CString>(ar), L"x");
            });
}

TEST(Archive, ShortOrAbsurdDataThrows) {
  struct Case {
    const char* name;
    std::vector<BYTE> data;
    void (*read)(CArchive&);
    int cause;
  };
  const int eof = CArchiveException::endOfFile;
  const Case cases[] = {
      {"BYTE", {}, &Skip<BYTE>, eof},
      {"WORD", {1}, &Skip<WORD>, eof},
      {"DWORD", {1, 2, 3}, &Skip<DWORD>, eof},
      {"double", {1, 2, 3, 4, 5, 6, 7}, &Skip<double>, eof},
      {"CString body", {0xFF, 0xFE, 0xFF, 5, 'a', 0}, &Skip<CString>, eof},
      {"CString marker", {0xFF, 0xFE}, &Skip<CString>, eof},
      // A length of 1.8 billion units with two bytes behind it: must fail
      // quickly without trying to allocate the claimed size.
      {"CString huge", {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0x00, 0x00, 0x00, 0x70, 'a', 0}, &Skip<CString>, eof},
      {"CStringA", {0xFF, 0xFF, 0xFF, 0x01, 0x00, 0x00, 0x00}, &Skip<CStringA>, eof},
      // A 64-bit length: beyond anything a string can hold.
      {"CString 64-bit length",
       {0xFF, 0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 1, 0, 0, 0},
       &Skip<CString>,
       CArchiveException::badIndex},
  };
  for (const Case& c : cases) {
    std::vector<BYTE> data = c.data;
    CMemFile file(data.empty() ? nullptr : data.data(), static_cast<UINT>(data.size()));
    CArchive ar(&file, CArchive::load);
    EXPECT_EQ(ArchiveCause([&] { c.read(ar); }), c.cause) << c.name;
  }
}

TEST(Archive, WrongDirectionThrowsReadOnlyOrWriteOnly) {
  CMemFile file;
  {
    CArchive storing(&file, CArchive::store);
    EXPECT_TRUE(storing.IsStoring());
    EXPECT_FALSE(storing.IsLoading());
    EXPECT_EQ(ArchiveCause([&] { Skip<BYTE>(storing); }), CArchiveException::writeOnly);
    EXPECT_THROW(Skip<CString>(storing), CArchiveException);
    storing << static_cast<BYTE>(1);
  }
  file.SeekToBegin();
  CArchive loading(&file, CArchive::load);
  const std::pair<const char*, void (*)(CArchive&)> stores[] = {
      {"BYTE", [](CArchive& ar) { ar << static_cast<BYTE>(1); }},
      {"DWORD", [](CArchive& ar) { ar << static_cast<DWORD>(1); }},
      {"double", [](CArchive& ar) { ar << 1.0; }},
      {"CString", [](CArchive& ar) { ar << CString(L"x"); }},
      {"Write", [](CArchive& ar) { ar.Write("x", 1); }},
  };
  for (const auto& [name, store] : stores) {
    EXPECT_EQ(ArchiveCause([&, fn = store] { fn(loading); }), CArchiveException::readOnly) << name;
  }
}

TEST(Archive, ExceptionCarriesTheFileName) {
  CMemFile file;
  file.SetFilePath(L"/tmp/doc.bin");
  CArchive ar(&file, CArchive::load);
  EXPECT_STREQ(ar.m_strFileName, L"/tmp/doc.bin");
  try {
    Skip<BYTE>(ar);
    ADD_FAILURE();
  } catch (const CArchiveException& e) {
    EXPECT_STREQ(e.m_strFileName, L"/tmp/doc.bin");
    EXPECT_NE(std::string(e.what()).find("/tmp/doc.bin"), std::string::npos) << e.what();
    EXPECT_NE(std::string(e.what()).find("end"), std::string::npos) << e.what();
  }
}

TEST(Archive, BufferBoundariesAndLargeBlocks) {
  // A small buffer forces values to straddle refills and flushes.
  std::vector<BYTE> big(10000);
  for (size_t i = 0; i < big.size(); ++i) big[i] = static_cast<BYTE>(i * 7);
  RoundTrip(
      [&](CArchive& ar) {
        for (int i = 0; i < 300; ++i) ar << static_cast<DWORD>(i * 1000003u) << static_cast<BYTE>(i);
        ar.Write(big.data(), static_cast<UINT>(big.size()));
        ar << 1.25;
      },
      [&](CArchive& ar) {
        for (int i = 0; i < 300; ++i) {
          DWORD d;
          BYTE b;
          ar >> d >> b;
          ASSERT_EQ(d, static_cast<DWORD>(i * 1000003u));
          ASSERT_EQ(b, static_cast<BYTE>(i));
        }
        std::vector<BYTE> back(big.size());
        EXPECT_EQ(ar.Read(back.data(), static_cast<UINT>(back.size())), back.size());
        EXPECT_EQ(back, big);
        EXPECT_EQ(Read<double>(ar), 1.25);
        BYTE extra[4];
        EXPECT_EQ(ar.Read(extra, 4), 0u);  // Read reports a short count, no exception
      },
      128);
}

TEST(Archive, UsesTheCallersBuffer) {
  BYTE buffer[128];
  std::memset(buffer, 0, sizeof buffer);
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store, sizeof buffer, buffer);
    for (int i = 0; i < 300; ++i) ar << static_cast<BYTE>(i);
  }
  // 300 bytes through 128: the last partial load of 44 bytes sits at the front.
  EXPECT_EQ(buffer[0], static_cast<BYTE>(256));
  EXPECT_EQ(buffer[43], static_cast<BYTE>(299));
  ASSERT_EQ(file.GetLength(), 300u);
  EXPECT_EQ(file.GetBufferPtr()[299], static_cast<BYTE>(299));
  BYTE tiny[16];
  EXPECT_THROW(CArchive(&file, CArchive::load, sizeof tiny, tiny), CInvalidArgException);
}

TEST(Archive, CountsUseTheShortForm) {
  struct Case {
    DWORD_PTR count;
    std::vector<BYTE> bytes;
  };
  const Case cases[] = {
      {0, {0, 0}},
      {0xFFFE, {0xFE, 0xFF}},
      {0xFFFF, {0xFF, 0xFF, 0xFF, 0xFF, 0, 0}},
      {0x12345678, {0xFF, 0xFF, 0x78, 0x56, 0x34, 0x12}},
      {0x100000000ULL, {0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 1, 0, 0, 0}},
  };
  for (const Case& c : cases) {
    std::vector<BYTE> bytes = RoundTrip([&](CArchive& ar) { ar.WriteCount(c.count); },
                                        [&](CArchive& ar) { EXPECT_EQ(ar.ReadCount(), c.count); });
    EXPECT_EQ(bytes, c.bytes) << c.count;
  }
}

TEST(Archive, TextLines) {
  RoundTrip(
      [](CArchive& ar) {
        ar.WriteString(L"first line\r\n");
        ar.WriteString(L"second\n");
        ar.WriteString(L"last");
      },
      [](CArchive& ar) {
        CString line;
        for (const wchar_t* expect : {L"first line", L"second", L"last"}) {
          EXPECT_TRUE(ar.ReadString(line));
          EXPECT_STREQ(line, expect);
        }
        EXPECT_FALSE(ar.ReadString(line));
      });
}

TEST(Archive, LoadArrayCloseAndFlush) {
  CMemFile file;
  CArchive ar(&file, CArchive::store);
  ASSERT_NE(ar.m_pLoadArray, nullptr);
  EXPECT_EQ(ar.m_pLoadArray->GetSize(), 0);
  int x = 0;
  EXPECT_EQ(ar.m_pLoadArray->Add(&x), 0);
  EXPECT_EQ(ar.m_pLoadArray->GetAt(0), &x);
  EXPECT_EQ(ar.GetFile(), &file);
  // Close flushes and detaches.
  ar << static_cast<DWORD>(7);
  EXPECT_EQ(file.GetLength(), 0u);  // still buffered
  ar.Flush();
  EXPECT_EQ(file.GetLength(), 4u);
  ar << static_cast<BYTE>(1);
  ar.Close();
  EXPECT_EQ(file.GetLength(), 5u);
  EXPECT_EQ(ar.GetFile(), nullptr);
  EXPECT_THROW(ar << static_cast<BYTE>(1), CArchiveException);
  // A loading flush puts the file back where the archive is.
  file.SeekToBegin();
  CArchive loading(&file, CArchive::load);
  Skip<WORD>(loading);
  loading.Flush();
  EXPECT_EQ(file.GetPosition(), 2u);
}

TEST(Exceptions, MessagesNameTheCauseAndTheFile) {
  struct Case {
    CString message;
    std::string what;
    const wchar_t* part;
  };
  auto make = [](const CException& e, const wchar_t* part) { return Case{e.GetMessage(), e.what(), part}; };
  const Case cases[] = {
      make(CArchiveException(CArchiveException::badSchema, L"Unknown schema"), L"schema: Unknown schema."),
      make(CArchiveException(CArchiveException::readOnly), L"write"),
      make(CArchiveException(CArchiveException::endOfFile, L"f\u00E9.bin"), L"end of the archive: f\u00E9.bin"),
      make(CArchiveException(42), L"unknown error"),
      make(CFileException(CFileException::fileNotFound, 2, L"/x/y"), L"not found: /x/y (error 2)."),
      make(CMemoryException(), L"memory"),
      make(CInvalidArgException(), L"invalid argument"),
  };
  for (const Case& c : cases) {
    EXPECT_NE(c.message.Find(c.part), -1) << static_cast<const wchar_t*>(c.message);
    EXPECT_EQ(c.what, std::string(CStringA(c.message)));  // what() is the UTF-8 form
  }
  // GetErrorMessage truncates to the buffer and always terminates.
  wchar_t buf[8];
  UINT help = 99;
  EXPECT_TRUE(CMemoryException().GetErrorMessage(buf, 8, &help));
  EXPECT_STREQ(buf, L"Out of ");
  EXPECT_EQ(help, 0u);
  EXPECT_FALSE(CMemoryException().GetErrorMessage(buf, 0));
  // By value and polymorphic through the std::exception base.
  try {
    AfxThrowArchiveException(CArchiveException::badClass, L"doc");
  } catch (const std::exception& e) {
    EXPECT_NE(std::string(e.what()).find("doc"), std::string::npos);
  }
}

TEST(Exceptions, ErrnoMapping) {
  const std::pair<int, int> cases[] = {{ENOENT, CFileException::fileNotFound},
                                       {EACCES, CFileException::accessDenied},
                                       {ENOSPC, CFileException::diskFull},
                                       {EMFILE, CFileException::tooManyOpenFiles},
                                       {ENOTDIR, CFileException::badPath},
                                       {EIO, CFileException::hardIO},
                                       {0, CFileException::none},
                                       {EPIPE, CFileException::genericException}};
  for (const auto& [err, cause] : cases) EXPECT_EQ(CFileException::ErrnoToException(err), cause) << err;
}

}  // namespace
