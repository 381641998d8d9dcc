#include <kernel/CFile.h>

#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

class TempDir {
 public:
  TempDir() {
    char tmpl[] = "/tmp/nk_file_XXXXXX";
    const char* made = mkdtemp(tmpl);
    if (made) m_path = made;
  }
  ~TempDir() {
    if (!m_path.empty()) (void)std::system(("rm -rf '" + m_path + "'").c_str());
  }
  CString Path(const char* name) const { return CString((m_path + "/" + name).c_str()); }

 private:
  std::string m_path;
};

// The cause of the CFileException `f` throws, -1 when none; the system's
// error number goes to *os.
template <typename F>
int FileCause(F f, LONG* os = nullptr) {
  try {
    f();
  } catch (const CFileException& e) {
    if (os) *os = e.m_lOsError;
    return e.m_cause;
  }
  return -1;
}

TEST(CFile, WriteSeekReadAndLength) {
  TempDir dir;
  CString path = dir.Path("data.bin");
  CFile f;
  ASSERT_TRUE(f.Open(path, CFile::modeCreate | CFile::modeReadWrite | CFile::typeBinary));
  f.Write("hello world", 11);
  EXPECT_EQ(f.GetLength(), 11u);
  EXPECT_EQ(f.GetPosition(), 11u);
  EXPECT_EQ(f.Seek(-5, CFile::end), 6u);
  char buf[16] = {};
  EXPECT_EQ(f.Read(buf, 16), 5u);
  EXPECT_STREQ(buf, "world");
  EXPECT_EQ(f.Read(buf, 16), 0u);  // at the end
  f.SeekToBegin();
  EXPECT_EQ(f.Seek(2, CFile::current), 2u);
  f.SetLength(4);
  EXPECT_EQ(f.GetLength(), 4u);
  EXPECT_EQ(f.SeekToEnd(), 4u);
  EXPECT_STREQ(f.GetFileName(), L"data.bin");
  EXPECT_STREQ(f.GetFileTitle(), L"data");
  EXPECT_STREQ(f.GetFilePath(), path);
  EXPECT_EQ(FileCause([&] { f.Seek(-1, CFile::begin); }), CFileException::badSeek);
  f.Close();
  EXPECT_EQ(f.m_hFile, CFile::hFileNull);
  f.Close();  // closing twice is harmless
  // A file never opened refuses everything.
  CFile never;
  char c;
  EXPECT_THROW(never.Read(&c, 1), CFileException);
  EXPECT_THROW(never.Write(&c, 1), CFileException);
  EXPECT_THROW(never.GetLength(), CFileException);
  never.Close();
}

TEST(CFile, OpenFlagsDecideCreationAndTruncation) {
  TempDir dir;
  CString path = dir.Path("flags.bin");
  CFileException err;
  CFile f;
  // Without modeCreate the file must exist.
  EXPECT_FALSE(f.Open(path, CFile::modeRead, &err));
  EXPECT_EQ(err.m_cause, CFileException::fileNotFound);
  EXPECT_STREQ(err.m_strFileName, path);
  {
    CFile w(path, CFile::modeCreate | CFile::modeWrite);
    w.Write("12345", 5);
  }
  {
    // modeNoTruncate keeps the content.
    CFile w(path, CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite);
    EXPECT_EQ(w.GetLength(), 5u);
    // A write-only file cannot be read.
    char c;
    EXPECT_THROW(w.Read(&c, 1), CFileException);
  }
  {
    CFile w(path, CFile::modeCreate | CFile::modeWrite);
    EXPECT_EQ(w.GetLength(), 0u);
  }
  // The throwing constructor; a missing folder is a bad path, not a missing file.
  LONG os = 0;
  EXPECT_EQ(FileCause([&] { CFile missing(dir.Path("none/x.bin"), CFile::modeCreate | CFile::modeWrite); }, &os),
            CFileException::badPath);
  EXPECT_GT(os, 0);
  // A folder is not a file.
  EXPECT_FALSE(f.Open(dir.Path(""), CFile::modeRead, &err));
  EXPECT_EQ(err.m_cause, CFileException::accessDenied);
}

TEST(CFile, ExclusiveSharingRefusesASecondOpen) {
  TempDir dir;
  CString path = dir.Path("locked.bin");
  CFile first(path, CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive);
  CFile second;
  CFileException err;
  EXPECT_FALSE(second.Open(path, CFile::modeRead | CFile::shareDenyWrite, &err));
  EXPECT_EQ(err.m_cause, CFileException::sharingViolation);
  first.Close();
  EXPECT_TRUE(second.Open(path, CFile::modeRead | CFile::shareDenyWrite, &err));
}

TEST(CFile, RenameRemoveAndUnicodeNames) {
  TempDir dir;
  CString a = dir.Path("\xC3\xA4pfel.txt"), b = dir.Path("b.txt");
  { CFile f(a, CFile::modeCreate | CFile::modeWrite); }
  CFile::Rename(a, b);
  CFile f;
  EXPECT_FALSE(f.Open(a, CFile::modeRead));
  EXPECT_TRUE(f.Open(b, CFile::modeRead));
  f.Close();
  CFile::Remove(b);
  EXPECT_FALSE(f.Open(b, CFile::modeRead));
  EXPECT_EQ(FileCause([&] { CFile::Remove(b); }), CFileException::fileNotFound);
}

// Records every hook call so the tests can see the growth pattern.
class CountingMemFile : public CMemFile {
 public:
  using CMemFile::CMemFile;
  ~CountingMemFile() override { Close(); }
  std::vector<SIZE_T> allocs, reallocs;
  int frees = 0;
  int copies = 0;
  SIZE_T BufferSize() const { return m_nBufferSize; }

 protected:
  BYTE* Alloc(SIZE_T n) override {
    allocs.push_back(n);
    return CMemFile::Alloc(n);
  }
  BYTE* Realloc(BYTE* p, SIZE_T n) override {
    reallocs.push_back(n);
    return CMemFile::Realloc(p, n);
  }
  void Free(BYTE* p) override {
    ++frees;
    CMemFile::Free(p);
  }
  BYTE* Memcpy(BYTE* d, const BYTE* s, SIZE_T n) override {
    ++copies;
    return CMemFile::Memcpy(d, s, n);
  }
};

TEST(CMemFile, GrowsInWholeStepsThroughTheHooks) {
  CountingMemFile f(100);
  std::vector<BYTE> data(250, 0x5A);
  f.Write(data.data(), 10);
  EXPECT_EQ(f.allocs, std::vector<SIZE_T>{100});
  f.Write(data.data(), 95);  // 105 bytes: one more step
  EXPECT_EQ(f.reallocs, std::vector<SIZE_T>{200});
  f.Write(data.data(), 250);  // 355 bytes: two more steps at once
  EXPECT_EQ(f.reallocs, (std::vector<SIZE_T>{200, 400}));
  EXPECT_EQ(f.BufferSize(), 400u);
  EXPECT_EQ(f.GetLength(), 355u);
  EXPECT_EQ(f.copies, 3);
  f.Close();
  EXPECT_EQ(f.frees, 1);
  EXPECT_EQ(f.GetLength(), 0u);
}

TEST(CMemFile, FixedBufferReadsInPlaceAndRefusesToGrow) {
  BYTE buffer[8] = {1, 2, 3, 4, 5, 6, 7, 8};
  CountingMemFile f(buffer, sizeof buffer);
  EXPECT_EQ(f.GetLength(), 8u);
  BYTE out[3];
  EXPECT_EQ(f.Read(out, 3), 3u);
  EXPECT_EQ(out[2], 3);
  f.Seek(6, CFile::begin);
  f.Write("\x09\x0A", 2);  // fits exactly
  EXPECT_EQ(buffer[7], 0x0A);
  EXPECT_THROW(f.Write("x", 1), CMemoryException);
  EXPECT_TRUE(f.allocs.empty() && f.reallocs.empty());
  EXPECT_EQ(f.Detach(), buffer);
  EXPECT_EQ(f.frees, 0);  // the caller's buffer is never freed by the file
}

TEST(CMemFile, AttachWithGrowStepStartsEmpty) {
  BYTE* heap = static_cast<BYTE*>(std::malloc(4));
  CMemFile f(heap, 4, 16);
  EXPECT_EQ(f.GetLength(), 0u);
  f.Write("abcdef", 6);  // grows the attached buffer through Realloc
  EXPECT_EQ(f.GetLength(), 6u);
  EXPECT_EQ(f.GetBufferSize(), 20u);
  BYTE* owned = f.Detach();
  EXPECT_EQ(std::memcmp(owned, "abcdef", 6), 0);
  EXPECT_EQ(f.GetLength(), 0u);
  std::free(owned);
}

TEST(CMemFile, SeekPastEndAndSetLength) {
  CMemFile f(8);
  f.Write("ab", 2);
  EXPECT_EQ(f.Seek(5, CFile::begin), 5u);
  EXPECT_EQ(f.GetLength(), 2u);  // seeking alone does not extend
  BYTE c;
  EXPECT_EQ(f.Read(&c, 1), 0u);
  f.Write("z", 1);
  EXPECT_EQ(f.GetLength(), 6u);
  const BYTE expect[] = {'a', 'b', 0, 0, 0, 'z'};
  EXPECT_EQ(std::memcmp(f.GetBufferPtr(), expect, 6), 0);
  f.SetLength(3);
  EXPECT_EQ(f.GetLength(), 3u);
  EXPECT_EQ(f.GetPosition(), 3u);
  f.SetLength(10);
  EXPECT_EQ(f.GetBufferPtr()[9], 0);
  EXPECT_THROW(f.Seek(-11, CFile::end), CFileException);
  EXPECT_THROW(f.Seek(0, 7), CInvalidArgException);
}

}  // namespace
