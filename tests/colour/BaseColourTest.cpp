// The abstract colour's non-virtual helpers and the colour enumerations' text.
#include <kernel/Colour.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cwchar>

namespace {

using namespace Kernel;
using ::testing::_;
using ::testing::Return;

class MockColour : public BaseColour {
 public:
  MOCK_METHOD(void, Reserved1, (), (override));
  MOCK_METHOD(void, Reserved2, (), (override));
  MOCK_METHOD(bool, IsSameColour, (const BaseColour*), (const, override));
  MOCK_METHOD(uint32_t, GetRGB, (), (const, override));
  MOCK_METHOD(void, Reserved3, (), (override));
  MOCK_METHOD(uint32_t, GetCMYK, (), (const, override));
  MOCK_METHOD(void, Reserved4, (), (override));
  MOCK_METHOD(void, Reserved5, (), (override));
  MOCK_METHOD(void, Reserved6, (), (override));
};

TEST(BaseColour, GetColourAsksForCmykOnlyForTheCmykOrder) {
  MockColour colour;
  EXPECT_CALL(colour, GetCMYK()).WillRepeatedly(Return(0xC0FFEE11u));
  EXPECT_CALL(colour, GetRGB()).WillRepeatedly(Return(0x00123456u));
  const struct {
    ColourOrder::Type order;
    uint32_t expected;
  } cases[] = {
      {ColourOrder::Rgb, 0x00123456u},     {ColourOrder::Bgr, 0x00123456u},  {ColourOrder::Cmyk, 0xC0FFEE11u},
      {ColourOrder::Kymc, 0x00123456u},    {ColourOrder::Mono, 0x00123456u}, {ColourOrder::MonoA, 0x00123456u},
      {ColourOrder::Invalid, 0x00123456u},
  };
  for (const auto& c : cases) EXPECT_EQ(colour.GetColour(c.order), c.expected) << c.order;
}

TEST(BaseColour, SameColourChecksPointersBeforeAsking) {
  MockColour a, b;
  EXPECT_CALL(a, IsSameColour(_)).Times(0);
  EXPECT_TRUE(BaseColour::SameColour(&a, &a));
  EXPECT_TRUE(BaseColour::SameColour(nullptr, nullptr));
  EXPECT_FALSE(BaseColour::SameColour(nullptr, &b));
  ::testing::Mock::VerifyAndClearExpectations(&a);

  EXPECT_CALL(a, IsSameColour(&b)).WillOnce(Return(true));
  EXPECT_TRUE(BaseColour::SameColour(&a, &b));
  EXPECT_CALL(a, IsSameColour(nullptr)).WillOnce(Return(false));
  EXPECT_FALSE(BaseColour::SameColour(&a, nullptr));
  EXPECT_CALL(b, IsSameColour(&a)).WillOnce(Return(false));
  EXPECT_FALSE(BaseColour::SameColour(&b, &a));
}

TEST(ColourEnumerations, NameTables) {
  const wchar_t* const orders[] = {L"Rgb", L"Bgr", L"Cmyk", L"Kymc", L"Mono", L"MonoA", L"Invalid"};
  ASSERT_EQ(EnumNameCount<ColourOrder::Type>(), 7);
  for (int i = 0; i < 7; ++i) {
    EXPECT_STREQ(EnumName(static_cast<ColourOrder::Type>(i)), orders[i]);
    ColourOrder::Type back = ColourOrder::Invalid;
    ASSERT_TRUE(EnumFromName(orders[i], back));
    EXPECT_EQ(back, i);
  }
  EXPECT_STREQ(EnumTraits<ColourOrder::Type>::c_names[7], L"");

  ASSERT_EQ(EnumNameCount<IColourManager::ColourMode>(), 2);
  EXPECT_STREQ(EnumName(IColourManager::RGB), L"RGB");
  EXPECT_STREQ(EnumName(IColourManager::CMYK), L"CMYK");
  EXPECT_STREQ(EnumTraits<IColourManager::ColourMode>::c_names[2], L"");
  EXPECT_EQ(EnumName(static_cast<IColourManager::ColourMode>(2)), nullptr);
  IColourManager::ColourMode mode = IColourManager::RGB;
  EXPECT_TRUE(EnumFromName(L"CMYK", mode));
  EXPECT_EQ(mode, IColourManager::CMYK);
  EXPECT_FALSE(EnumFromName(L"cmyk", mode));
}

}  // namespace
