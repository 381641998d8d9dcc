// Binary blocks in variants and bags.
#include <kernel/MemoryPropertyBag.h>
#include <kernel/RawData.h>
#include <kernel/Variant.h>

#include <gtest/gtest.h>

namespace {

using Block = Kernel::RefRawData<Kernel::Allocator>;
using Kernel::CPtr;

CPtr<Block> MakeBlock(std::initializer_list<unsigned char> bytes) {
  std::vector<unsigned char> v(bytes);
  return CPtr<Block>(new Block(v.data(), v.size()));
}

TEST(VariantBinary, BlocksBecomeNamedByteArrays) {
  const CVariant v(MakeBlock({0, 1, 255}), L"thumb:nail");
  EXPECT_EQ(v.GetString(), CString(L"_arr_Bthumb:nail:3:0;1;255"));
  EXPECT_TRUE(v.IsBinary());
  CPtr<Block> back;
  CString name;
  ASSERT_TRUE(v.GetBinary(back, &name));
  EXPECT_EQ(name, CString(L"thumb:nail"));
  ASSERT_EQ(back->GetSize(), 3u);
  EXPECT_EQ(back->GetByte(2), 255);
  EXPECT_EQ(CVariant(MakeBlock({7}), nullptr).GetString(), CString(L"_arr_B:1:7"));
  EXPECT_TRUE(CVariant(CPtr<Block>(), L"x").IsEmpty());
}

TEST(VariantBinary, EmptyBlockAndNonBinaryValues) {
  const CVariant empty(CPtr<Block>(new Block()));
  EXPECT_EQ(empty.GetString(), CString(L"_arr_B:0:"));
  CPtr<Block> back;
  ASSERT_TRUE(empty.GetBinary(back, nullptr));
  EXPECT_EQ(back->GetSize(), 0u);
  const int ints[] = {1};
  CVariant notBytes;
  notBytes.SetArray(ints, 1);
  CPtr<Block> untouched;
  EXPECT_FALSE(notBytes.GetBinary(untouched, nullptr));
  EXPECT_FALSE(CVariant(L"_arr_B:2:1").GetBinary(untouched, nullptr));
  EXPECT_TRUE(untouched.IsNull());
}

TEST(VariantBinary, BlobsThroughBags) {
  Kernel::CXmlPropertyBag bag;
  std::vector<unsigned char> bytes(1000);
  for (size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 37);
  bag.CP_SaveBlob(L"blob", CPtr<Block>(new Block(bytes.data(), bytes.size())));
  const CStringA xml = bag.SaveToString();
  Kernel::CXmlPropertyBag back;
  back.LoadFromString(xml.GetString(), static_cast<size_t>(xml.GetLength()));
  CPtr<Block> blob;
  ASSERT_TRUE(back.CP_LoadBlob(L"blob", blob));
  ASSERT_EQ(blob->GetSize(), bytes.size());
  EXPECT_EQ(std::memcmp(blob->GetConstData(), bytes.data(), bytes.size()), 0);
  EXPECT_FALSE(back.CP_LoadBlob(L"missing", blob));
}

}  // namespace
