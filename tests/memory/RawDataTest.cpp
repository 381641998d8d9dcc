#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/RawData.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <sys/stat.h>
#include <unistd.h>

using Kernel::Allocator;
using Kernel::CPtr;
using Kernel::Mallocator;
using Kernel::RefRawData;
using Block = RefRawData<Allocator>;

namespace {

std::vector<uint64_t> g_requests;

// Records each request and answers with a token allocation: enough for tests
// that only look at capacities, never at the bytes.
unsigned char* RecordingHook(uint64_t size) {
  g_requests.push_back(size);
  return static_cast<unsigned char*>(std::malloc(16));
}
unsigned char* RecordingRealHook(uint64_t size) {
  g_requests.push_back(size);
  return static_cast<unsigned char*>(std::malloc(size));
}
unsigned char* FailingHook(uint64_t) { return nullptr; }
unsigned char* ThrowingHook(uint64_t) { throw std::bad_alloc(); }

CPtr<Block> MakeBlock(const std::string& text) {
  return CPtr<Block>(new Block(reinterpret_cast<const unsigned char*>(text.data()), text.size()));
}

std::string Bytes(Block& b) { return std::string(reinterpret_cast<const char*>(b.GetConstData()), b.GetSize()); }

std::string ReadWhole(const std::filesystem::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

}  // namespace

TEST(RawDataHooks, FailuresOfEveryKindGiveAnEmptyBlock) {
  for (auto hook : {&FailingHook, &ThrowingHook}) {
    nktest::HookScope scope(hook, hook);
    RefRawData<Allocator> a(100);
    RefRawData<Mallocator> m(100);
    EXPECT_EQ(a.GetConstData(), nullptr);
    EXPECT_EQ(a.GetSize(), 0u);
    EXPECT_EQ(a.GetMaxSize(), 0u);
    EXPECT_EQ(m.GetSize(), 0u);
    RefRawData<Allocator> grown;
    EXPECT_FALSE(grown.SetSize(10));
    EXPECT_EQ(grown.GetMaxSize(), 0u);
  }
}

TEST(RawDataHooks, EachFamilyUsesItsOwnHookAndFallsBackWhenCleared) {
  nktest::HookScope scope(&RecordingHook, nullptr);
  g_requests.clear();
  { RefRawData<Allocator> a(77); }
  { RefRawData<Mallocator> m(88); }  // no mallocator hook: plain malloc
  EXPECT_EQ(g_requests, std::vector<uint64_t>{77});
  Kernel::ClearAllocator();
  unsigned char* p = Kernel::IAlloc(5);
  ASSERT_NE(p, nullptr);
  std::free(p);  // C-heap storage on this platform
  EXPECT_EQ(g_requests.size(), 1u);
}

// capacity before, request, capacity after a growing SetSizeGrow.
struct GrowthCase {
  uint64_t capacity, request, expected;
};

TEST(RawDataSize, GrowthFollowsTheHalfStepWithItsThirtyTwoBitCeiling) {
  const GrowthCase cases[] = {
      {0, 10, 10},                                       // nothing to grow from
      {100, 101, 150},                                   // grown by half
      {100, 200, 200},                                   // the request is larger
      {0xAAAAAAAAull, 0xAAAAAAABull, 0xFFFFFFFFull},     // last step below the ceiling
      {0xAAAAAAABull, 0xAAAAAAACull, 0xAAAAAAACull},     // past it: the request as is
      {0x200000000ull, 0x200000001ull, 0x300000000ull},  // the test wraps in 64 bits
  };
  nktest::HookScope scope(&RecordingHook, &RecordingHook);
  for (const GrowthCase& c : cases) {
    Block b;
    ASSERT_TRUE(b.Reserve(c.capacity));
    g_requests.clear();
    ASSERT_TRUE(b.SetSizeGrow(c.request, false));
    EXPECT_EQ(b.GetMaxSize(), c.expected) << c.capacity;
    EXPECT_EQ(b.GetSize(), c.request);
    EXPECT_EQ(g_requests, std::vector<uint64_t>{c.expected});
  }
}

TEST(RawDataSize, SizeOperationsKeepOrMoveTheBuffer) {
  auto b = MakeBlock("0123456789");
  const unsigned char* before = b->GetConstData();
  // Within the capacity nothing moves.
  EXPECT_TRUE(b->GrowBy(-4));
  EXPECT_EQ(b->GetSize(), 6u);
  EXPECT_EQ(b->GetMaxSize(), 10u);
  EXPECT_TRUE(b->Reserve(8));
  EXPECT_TRUE(b->SetSizeGrow(9, false));
  EXPECT_EQ(b->GetConstData(), before);
  EXPECT_TRUE(b->SetSizeGrow(4, true));  // to capacity
  EXPECT_EQ(b->GetSize(), 10u);
  // A shrink past zero wraps to an impossible size and fails cleanly.
  EXPECT_FALSE(b->GrowBy(-11));
  EXPECT_EQ(b->GetSize(), 10u);
  // Growing keeps the contents.
  EXPECT_TRUE(b->GrowBy(5));
  EXPECT_EQ(b->GetSize(), 15u);
  EXPECT_EQ(b->GetMaxSize(), 15u);
  EXPECT_EQ(Bytes(*b).substr(0, 10), "0123456789");
  // SetSize is exact both ways.
  EXPECT_TRUE(b->SetSize(3));
  EXPECT_EQ(b->GetMaxSize(), 3u);
  EXPECT_EQ(Bytes(*b), "012");
  EXPECT_TRUE(b->SetSize(0));
  EXPECT_EQ(b->GetSize(), 0u);
  EXPECT_FALSE(b->IsValid());
}

TEST(RawDataCopy, CloneEqualityAndCopies) {
  Block empty1, empty2;
  EXPECT_TRUE(empty1 == empty2);
  EXPECT_FALSE(empty1.Clone());

  auto a = MakeBlock("abcdef");
  ASSERT_TRUE(a->Reserve(100));
  auto c = a->Clone();
  ASSERT_TRUE(c);
  EXPECT_EQ(c->GetMaxSize(), 6u);  // the clone holds the size, not the capacity
  EXPECT_NE(c->GetConstData(), a->GetConstData());
  EXPECT_TRUE(*a == *c);
  c->SetByte(5, 'X');
  EXPECT_TRUE(*a != *c);
  EXPECT_FALSE(*a == *MakeBlock("abcde"));
  Block copy(*a);
  EXPECT_EQ(copy.GetRefCount(), 0);
  EXPECT_EQ(Bytes(copy), "abcdef");
}

TEST(RawDataTransfer, DetachHandsOverOnlyWhatIsNotShared) {
  auto a = MakeBlock("shared");
  CPtr<Block> second = a;
  const unsigned char* own = a->GetConstData();
  unsigned char* copy = a->Detach();
  ASSERT_NE(copy, nullptr);
  EXPECT_NE(copy, own);
  EXPECT_EQ(std::memcmp(copy, "shared", 6), 0);
  EXPECT_EQ(a->GetSize(), 6u);
  std::free(copy);
  second = nullptr;
  unsigned char* mine = a->Detach();
  EXPECT_EQ(mine, own);
  EXPECT_EQ(a->GetSize(), 0u);
  EXPECT_EQ(a->GetMaxSize(), 0u);
  EXPECT_EQ(a->GetConstData(), nullptr);
  std::free(mine);
}

TEST(RawDataTransfer, GlobalHandleRoundTrip) {
  auto a = MakeBlock("global bytes");
  HGLOBAL h = a->GetAsGlobal();
  ASSERT_NE(h, nullptr);
  EXPECT_EQ(GlobalSize(h), 12u);
  Block back(h);
  EXPECT_EQ(Bytes(back), "global bytes");
  GlobalFree(h);
}

namespace {

std::vector<unsigned char> Store(Block& b) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    b.Serialize(ar);
    ar.Close();
  }
  const auto n = static_cast<size_t>(file.GetLength());
  std::vector<unsigned char> bytes(n);
  file.SeekToBegin();
  file.Read(bytes.data(), static_cast<UINT>(n));
  return bytes;
}

void LoadInto(Block& b, std::vector<unsigned char> bytes) {
  CMemFile file(bytes.data(), static_cast<UINT>(bytes.size()), 0);
  CArchive ar(&file, CArchive::load);
  b.Serialize(ar);
  file.Detach();
}

}  // namespace

TEST(RawDataArchive, RoundTripsWithACountPrefix) {
  for (size_t n : {size_t(0), size_t(1), size_t(3), size_t(70000)}) {
    std::string text(n, '\0');
    for (size_t i = 0; i < n; ++i) text[i] = static_cast<char>(i * 7 + 1);
    Block source(reinterpret_cast<const unsigned char*>(text.data()), n);
    const auto bytes = Store(source);
    ASSERT_EQ(bytes.size(), 4 + n);
    EXPECT_EQ(bytes[0] | bytes[1] << 8 | bytes[2] << 16 | bytes[3] << 24, static_cast<int>(n));
    Block loaded(reinterpret_cast<const unsigned char*>("old"), 3);
    LoadInto(loaded, bytes);
    EXPECT_EQ(loaded.GetSize(), n);
    EXPECT_EQ(loaded.GetMaxSize(), n);
    EXPECT_TRUE(loaded == source);
  }
}

TEST(RawDataArchive, BadArchivesThrowWithoutHugeAllocations) {
  struct Case {
    std::vector<unsigned char> bytes;
    int cause;
    uint64_t sizeAfter;
  };
  const Case cases[] = {
      {{1, 0}, CArchiveException::endOfFile, 4},                             // no whole count
      {{10, 0, 0, 0, 1, 2, 3, 4, 5}, CArchiveException::endOfFile, 0},       // short of bytes
      {{0xFF, 0xFF, 0xFF, 0x7F, 1, 2, 3}, CArchiveException::endOfFile, 0},  // 2 GiB promised
      {{0xFF, 0xFF, 0xFF, 0xFF, 1}, CArchiveException::badIndex, 0},         // a negative count
  };
  nktest::HookScope scope(nullptr, nullptr);
  for (const Case& c : cases) {
    Block b(reinterpret_cast<const unsigned char*>("keep"), 4);
    Kernel::SetAllocator(&RecordingRealHook);
    g_requests.clear();
    try {
      LoadInto(b, c.bytes);
      ADD_FAILURE() << "no exception";
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, c.cause);
    }
    for (uint64_t r : g_requests) EXPECT_LE(r, 16u << 20);
    EXPECT_EQ(b.GetSize(), c.sizeAfter);
  }
}

TEST(RawDataFiles, SaveLoadAndTheFileConstructor) {
  nktest::TempFolder folder;
  const std::wstring path = (folder.Path() / "block.bin").wstring();
  auto a = MakeBlock(std::string("bytes\0with nul", 14));
  ASSERT_TRUE(a->Save(path.c_str()));
  auto loaded = Block::Load(path.c_str());
  ASSERT_TRUE(loaded);
  EXPECT_TRUE(*loaded == *a);
  Block fromPath{CString(path.c_str())};
  EXPECT_TRUE(fromPath == *a);

  const std::wstring nothing = (folder.Path() / "empty.bin").wstring();
  EXPECT_FALSE(Block().Save(nothing.c_str()));
  EXPECT_FALSE(std::filesystem::exists(nothing));
  std::ofstream(folder.Path() / "zero.bin").close();
  EXPECT_FALSE(Block::Load((folder.Path() / "zero.bin").wstring().c_str()));
  EXPECT_FALSE(Block::Load((folder.Path() / "missing.bin").wstring().c_str()));
  EXPECT_FALSE(a->Save((folder.Path() / "no" / "such" / "dir").wstring().c_str()));
  Block missing{CString((folder.Path() / "missing.bin").wstring().c_str())};
  EXPECT_EQ(missing.GetSize(), 0u);
}

TEST(RawDataDisposal, CanDisposeOnlyToDiskWithAFolderAndContents) {
  nktest::TempFolder folder;
  auto a = MakeBlock("x");
  Block empty;
  {
    nktest::DisposalFolder none(CString(L""));
    EXPECT_FALSE(a->CanDispose(true));
    EXPECT_FALSE(a->FlushToDisk());
  }
  nktest::DisposalFolder set(folder.Wide());
  EXPECT_FALSE(a->CanDispose(false));
  EXPECT_TRUE(a->CanDispose(true));
  EXPECT_FALSE(empty.CanDispose(true));
  a->PinContents();
  EXPECT_FALSE(a->CanDispose(true));
  EXPECT_FALSE(a->FlushToDisk());
  a->UnpinContents();
  a->Dispose(false);
  EXPECT_FALSE(a->IsFlushed());
  a->Dispose(true);
  EXPECT_TRUE(a->IsFlushed());
  EXPECT_FALSE(a->CanDispose(true));
  EXPECT_FALSE(a->FlushToDisk());
  EXPECT_EQ(a->Measure(), 1u);  // disposal does not change the measure
}

TEST(RawDataDisposal, FileHoldsTheInvertedBytesUnderTheBlocksAddress) {
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  const std::string text("\x00\x01\x7F\x80\xFFz", 6);
  auto a = MakeBlock(text);
  ASSERT_TRUE(a->FlushToDisk());
  char leaf[32];
  std::snprintf(leaf, sizeof leaf, "%x.dat", static_cast<unsigned>(reinterpret_cast<uintptr_t>(a.Get())));
  const auto file = folder.Path() / leaf;
  EXPECT_EQ(std::wstring(a->GetDisposalFileName().GetString()), file.wstring());
  std::string inverted = text;
  for (char& c : inverted) c = static_cast<char>(~c);
  EXPECT_EQ(ReadWhole(file), inverted);
  struct stat st;
  ASSERT_EQ(::lstat(file.c_str(), &st), 0);
  EXPECT_EQ(st.st_mode & 0777, 0600u);
  EXPECT_FALSE(a->IsValid());      // asking does not read the contents back
  EXPECT_EQ(a->GetByte(4), 0xFF);  // restores
  EXPECT_FALSE(a->IsFlushed());
  EXPECT_FALSE(std::filesystem::exists(file));
  EXPECT_EQ(Bytes(*a), text);

  ASSERT_TRUE(a->FlushToDisk());
  a = nullptr;  // destroying a flushed block deletes its file
  EXPECT_EQ(folder.FileCount(), 0u);
}

std::string Pattern(size_t size) {
  std::string text(size, '\0');
  uint32_t x = static_cast<uint32_t>(size);
  for (char& c : text) c = static_cast<char>((x = x * 1664525u + 1013904223u) >> 24);
  return text;
}

// Files are written in chunks (larger ones from 8 MiB on) and read back
// through 8 MiB mappings, and large restores are faulted in by huge pages:
// sizes on either side of those boundaries must come back byte for byte,
// with every byte value present. Only the user's own files are mapped; a file
// that changed owner (planted in its place by someone else, here given away
// by root) is read with read() and must come back just the same, across
// several windows.
TEST(RawDataDisposal, RoundTripsAcrossChunkWindowAndPageBoundariesAndForeignOwners) {
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  auto roundTrip = [&](size_t size, bool foreign) {
    const std::string text = Pattern(size);
    auto a = MakeBlock(text);
    ASSERT_TRUE(a->FlushToDisk()) << size;
    const std::filesystem::path file(a->GetDisposalFileName().GetString());
    EXPECT_EQ(std::filesystem::file_size(file), size);
    if (foreign) {
      ASSERT_EQ(::chown(file.c_str(), 65534, 65534), 0);
    }
    EXPECT_TRUE(Bytes(*a) == text) << "block of " << size << " bytes" << (foreign ? ", foreign owner" : "");
    EXPECT_EQ(folder.FileCount(), 0u);
  };
  const size_t kChunk = 512 * 1024, kHuge = 2u << 20, kWindow = 8u << 20;
  for (size_t size : {size_t(1), size_t(63), size_t(65), kChunk - 1, kChunk, kChunk + 1, 3 * kChunk + 17, kWindow - 1,
                      kWindow, kWindow + 4099, 2 * kWindow + kHuge + 1})
    roundTrip(size, false);
  if (::geteuid() != 0) GTEST_SKIP() << "needs root to give a file away";
  for (size_t size : {size_t(10), kWindow + 4099}) roundTrip(size, true);
}

// A file cut short keeps what it still has, a missing one leaves the bytes
// uninitialised; either way the block comes back at its size and the loss is
// counted and logged once.
TEST(RawDataDisposal, ShortOrMissingFilesRestoreWhatIsLeftAndAreLogged) {
  struct Case {
    const char* name;
    size_t size, kept;  // kept == 0: the file is removed
    const char* message;
  };
  const size_t kWindow = 8u << 20;
  const Case cases[] = {
      {"short", kWindow + 100, kWindow + 7, "is short; 93 bytes"},  // the cut falls inside the second window
      {"missing", 10, 0, "missing"},
  };
  for (const Case& c : cases) {
    nktest::TempFolder folder;
    nktest::DisposalFolder set(folder.Wide());
    nktest::LogCapture log;
    const std::string text = Pattern(c.size);
    auto a = MakeBlock(text);
    ASSERT_TRUE(a->FlushToDisk()) << c.name;
    const std::filesystem::path file(a->GetDisposalFileName().GetString());
    if (c.kept == 0) {
      std::filesystem::remove(file);
    } else {
      std::filesystem::resize_file(file, c.kept);
    }
    const auto before = Kernel::GetDisposalStatistics();
    const unsigned char* data = a->GetConstData();
    ASSERT_NE(data, nullptr) << c.name;
    EXPECT_FALSE(a->IsFlushed()) << c.name;
    EXPECT_EQ(a->GetSize(), c.size) << c.name;
    EXPECT_TRUE(std::memcmp(data, text.data(), c.kept) == 0) << c.name;
    EXPECT_EQ(Kernel::GetDisposalStatistics().missingFiles, before.missingFiles + 1) << c.name;
    const auto messages = log.Messages();
    ASSERT_EQ(messages.size(), 1u) << c.name;
    EXPECT_NE(messages[0].find(c.message), std::string::npos) << c.name << ": " << messages[0];
    EXPECT_EQ(folder.FileCount(), 0u) << c.name;
  }
}

TEST(RawDataDisposal, PlantedLinksAndStaleFilesAreNeverWrittenThrough) {
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  const auto victim = folder.Path() / "victim";
  std::ofstream(victim) << "precious";
  for (bool link : {true, false}) {
    auto a = MakeBlock("payload");
    const std::filesystem::path name(a->GetDisposalFileName().GetString());
    if (link) {
      std::filesystem::create_symlink(victim, name);
    } else {
      std::ofstream(name) << "stale contents that are longer";
    }
    ASSERT_TRUE(a->FlushToDisk());
    EXPECT_EQ(ReadWhole(victim), "precious");
    EXPECT_FALSE(std::filesystem::is_symlink(name));
    EXPECT_EQ(std::filesystem::file_size(name), 7u);
    EXPECT_EQ(Bytes(*a), "payload");
  }
}
