#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Persist.h>

#include <gtest/gtest.h>

#include <vector>

namespace {

using Kernel::operator<<;
using Kernel::operator>>;

// Writes through a storing archive, then reads the same bytes back.
class ArchivePair {
 public:
  CArchive& Store() { return m_store; }
  CArchive& Load() {
    m_store.Flush();
    m_file.SeekToBegin();
    return m_load;
  }
  std::vector<BYTE> Bytes() {
    m_store.Flush();
    std::vector<BYTE> bytes(static_cast<size_t>(m_file.GetLength()) + 1);
    m_file.SeekToBegin();
    bytes.resize(m_file.Read(bytes.data(), static_cast<UINT>(bytes.size())));
    return bytes;
  }

 private:
  CMemFile m_file;
  CArchive m_store{&m_file, CArchive::store};
  CArchive m_load{&m_file, CArchive::load};
};

// One byte, the low one, on the way out; on the way in anything newer than
// the reader's number is refused, and the number read comes back regardless.
TEST(SerializeSchema, OneByteNeverNewerThanTheReader) {
  struct Row {
    int written;
    BYTE stored;
    int newest;
    bool accepted;
  };
  const Row rows[] = {{0, 0, 3, true},        {3, 3, 3, true},       {4, 4, 3, false},
                      {255, 255, 254, false}, {255, 255, 255, true}, {0x1FF, 255, 300, true},
                      {256, 0, 0, true},      {-1, 255, 3, false},   {0, 0, -1, false}};
  for (const Row& row : rows) {
    ArchivePair pair;
    int schema = row.written;
    Kernel::SerializeSchema(pair.Store(), schema);
    EXPECT_EQ(schema, row.written);
    EXPECT_EQ(pair.Bytes(), std::vector<BYTE>({row.stored})) << row.written;
    schema = row.newest;
    try {
      Kernel::SerializeSchema(pair.Load(), schema);
      EXPECT_TRUE(row.accepted) << row.written << " accepted under " << row.newest;
    } catch (const CArchiveException& e) {
      EXPECT_FALSE(row.accepted) << row.written << " refused under " << row.newest;
      EXPECT_EQ(e.m_cause, CArchiveException::badSchema);
      EXPECT_EQ(e.m_strFileName, CString(L"Unknown schema"));
    }
    EXPECT_EQ(schema, row.stored);
  }
  ArchivePair empty;
  int schema = 3;
  EXPECT_THROW(Kernel::SerializeSchema(empty.Load(), schema), CArchiveException);
}

TEST(BoolArchive, OneByteEachAnyNonZeroReadsTrue) {
  ArchivePair pair;
  pair.Store() << true << false;
  pair.Store() << BYTE(2) << BYTE(0xFF);
  EXPECT_EQ(pair.Bytes(), std::vector<BYTE>({1, 0, 2, 0xFF}));
  bool values[4] = {false, true, false, false};
  pair.Load() >> values[0] >> values[1] >> values[2] >> values[3];
  EXPECT_TRUE(values[0] && !values[1] && values[2] && values[3]);
}

TEST(BoolArchive, WrongModeCauses) {
  ArchivePair pair;
  bool value = false;
  try {
    pair.Load() << true;
    ADD_FAILURE() << "stored into a loading archive";
  } catch (const CArchiveException& e) {
    EXPECT_EQ(e.m_cause, CArchiveException::readOnly);
  }
  try {
    pair.Store() >> value;
    ADD_FAILURE() << "loaded from a storing archive";
  } catch (const CArchiveException& e) {
    EXPECT_EQ(e.m_cause, CArchiveException::writeOnly);
  }
  EXPECT_TRUE(pair.Bytes().empty());
}

}  // namespace
