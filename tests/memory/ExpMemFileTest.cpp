#include <kernel/ExpMemFile.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <cstring>
#include <memory>

using Kernel::CPtr;

namespace {

template <class File>
class ExpMemFileTest : public ::testing::Test {};

using Files = ::testing::Types<Kernel::CppExpMemFile, Kernel::CrtExpMemFile>;
TYPED_TEST_SUITE(ExpMemFileTest, Files);

template <class Block>
CPtr<Block> MakeBlock(const char* text) {
  return CPtr<Block>(new Block(reinterpret_cast<const unsigned char*>(text), std::strlen(text)));
}

}  // namespace

TYPED_TEST(ExpMemFileTest, ReadsABlockInPlaceAndCannotGrowIt) {
  using Block = typename TypeParam::Block;
  auto block = MakeBlock<Block>("in place");
  for (bool byAddress : {false, true}) {
    auto opened = byAddress ? std::make_unique<TypeParam>(static_cast<const Block*>(block.Get()))
                            : std::make_unique<TypeParam>(block);
    TypeParam& file = *opened;
    EXPECT_EQ(block->GetRefCount(), 2);
    EXPECT_EQ(file.GetBuffer(), block->GetConstData());
    EXPECT_EQ(file.GetLength(), 8u);
    char text[16] = {};
    EXPECT_EQ(file.Read(text, sizeof text), 8u);
    EXPECT_STREQ(text, "in place");
    file.SeekToBegin();
    file.Write("IN", 2);  // overwriting is fine and lands in the block
    EXPECT_EQ(block->GetByte(1), 'N');
    file.SeekToEnd();
    EXPECT_THROW(file.Write("!", 1), CMemoryException);
    EXPECT_EQ(block->GetSize(), 8u);
    block->SetByte(0, 'i');
    block->SetByte(1, 'n');
  }
  EXPECT_EQ(block->GetRefCount(), 1);
}

TYPED_TEST(ExpMemFileTest, TheViewedBlockStaysInMemory) {
  using Block = typename TypeParam::Block;
  nktest::TempFolder folder;
  nktest::DisposalFolder set(folder.Wide());
  auto block = MakeBlock<Block>("pinned");
  {
    TypeParam file(block);
    EXPECT_FALSE(block->CanDispose(true));
    EXPECT_FALSE(block->FlushToDisk());
  }
  EXPECT_TRUE(block->FlushToDisk());
  TypeParam file(block);  // opening reads it back
  EXPECT_FALSE(block->IsFlushed());
  char text[8] = {};
  EXPECT_EQ(file.Read(text, 6), 6u);
  EXPECT_STREQ(text, "pinned");
}

TYPED_TEST(ExpMemFileTest, DetachRawDataHandsOverTheWrittenBytesWithoutACopy) {
  TypeParam file(16);
  std::string text;
  for (int i = 0; i < 100; ++i) text += static_cast<char>('a' + i % 26);
  file.Write(text.data(), static_cast<UINT>(text.size()));
  const unsigned char* buffer = file.GetBuffer();
  auto block = file.DetachRawData();
  ASSERT_TRUE(block);
  EXPECT_EQ(block->GetSize(), 100u);  // the length, not the grown buffer
  EXPECT_EQ(block->GetConstData(), buffer);
  EXPECT_EQ(std::memcmp(block->GetConstData(), text.data(), 100), 0);
  EXPECT_EQ(file.GetLength(), 0u);
  EXPECT_EQ(file.GetBuffer(), nullptr);
  // Growing the handed-over block works on that storage.
  EXPECT_TRUE(block->SetSizeGrow(1000));
  EXPECT_EQ(std::memcmp(block->GetConstData(), text.data(), 100), 0);

  // A file on a block hands that block back.
  using Block = typename TypeParam::Block;
  auto viewed = MakeBlock<Block>("view");
  TypeParam view(viewed);
  EXPECT_EQ(view.DetachRawData().Get(), viewed.Get());
  EXPECT_EQ(view.GetLength(), 0u);
  EXPECT_FALSE(TypeParam(CPtr<Block>()).DetachRawData()->IsValid());
}
