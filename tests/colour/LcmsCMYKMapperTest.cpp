// The Little CMS mapper against real ICC profiles from the system's profile
// packages, and its refusals of unusable files.
#include <kernel/CMYKMapper.h>
#include <kernel/Colour.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

namespace {

using namespace Kernel;

constexpr uint32_t Rgb(uint32_t r, uint32_t g, uint32_t b) { return r | (g << 8) | (b << 16); }

const wchar_t* const kCmykProfile = L"/usr/share/color/icc/ghostscript/default_cmyk.icc";
const wchar_t* const kRgbProfile = L"/usr/share/color/icc/sRGB.icc";

int Distance(uint32_t a, uint32_t b) {
  int d = 0;
  for (int shift = 0; shift < 24; shift += 8)
    d = std::max(d, std::abs(static_cast<int>((a >> shift) & 255) - static_cast<int>((b >> shift) & 255)));
  return d;
}

std::wstring Wide(const std::string& s) { return std::wstring(s.begin(), s.end()); }

// Colours a printing press can reproduce, so a round trip through CMYK
// should bring them back closely; the sRGB primaries would not survive.
TEST(LcmsCMYKMapper, RoundTripsInGamutColours) {
  CLcmsCMYKMapper mapper(kCmykProfile);
  for (uint32_t c : {Rgb(255, 255, 255), Rgb(128, 128, 128), Rgb(64, 64, 64), Rgb(200, 150, 100), Rgb(100, 120, 140),
                     Rgb(60, 90, 60), Rgb(230, 200, 180), Rgb(150, 60, 60), Rgb(180, 180, 90)}) {
    const uint32_t cmyk = mapper.RGBToCMYK(c | 0xFF000000u);
    const uint32_t back = mapper.CMYKToRGB(cmyk);
    EXPECT_LE(Distance(c, back), 6) << std::hex << c << " -> " << cmyk << " -> " << back;
    EXPECT_EQ(back >> 24, 0u);
  }
}

TEST(LcmsCMYKMapper, InkLayoutMatchesThePlainMapper) {
  CLcmsCMYKMapper mapper(kCmykProfile);
  EXPECT_FALSE(mapper.GetProfileDescription().IsEmpty());
  // White takes no ink; black is mostly black ink; cyan ink alone is bluish
  // green, so the cyan byte really is bits 0-7.
  const uint32_t white = mapper.RGBToCMYK(Rgb(255, 255, 255));
  for (int shift = 0; shift < 32; shift += 8) EXPECT_LE((white >> shift) & 255, 3u) << shift;
  EXPECT_GE(mapper.RGBToCMYK(0) >> 24, 128u);
  const uint32_t cyan = mapper.CMYKToRGB(PackCMYK(255, 0, 0, 0));
  EXPECT_TRUE((cyan & 255) < 100 && ((cyan >> 16) & 255) > 150) << std::hex << cyan;
  const uint32_t yellow = mapper.CMYKToRGB(PackCMYK(0, 0, 255, 0));
  EXPECT_TRUE(((yellow >> 16) & 255) < 100 && (yellow & 255) > 200) << std::hex << yellow;
}

TEST(LcmsCMYKMapper, InksAndBatchesAgreeWithSingleConversions) {
  CLcmsCMYKMapper mapper(kCmykProfile);
  std::vector<uint32_t> colours, cmyk(512), back(512);
  for (uint32_t i = 0; i < 512; ++i) colours.push_back((i * 2654435761u) | 0xFF000000u);
  mapper.RGBToCMYK(colours.data(), cmyk.data(), colours.size());
  mapper.CMYKToRGB(cmyk.data(), back.data(), cmyk.size());
  for (size_t i = 0; i < colours.size(); ++i) {
    ASSERT_EQ(cmyk[i], mapper.RGBToCMYK(colours[i])) << i;
    ASSERT_EQ(back[i], mapper.CMYKToRGB(cmyk[i])) << i;
    ASSERT_EQ(back[i] >> 24, 0u) << i;
    const uint32_t v = cmyk[i];
    ASSERT_EQ(mapper.InksToRGB(v >> 24, (v >> 8) & 255, (v >> 16) & 255, v & 255), back[i]) << i;
  }
}

class LcmsCMYKMapperErrors : public ::testing::Test {
 protected:
  void SetUp() override {
    folder_ = std::filesystem::temp_directory_path() /
              ("nk_lcms_" + std::to_string(::testing::UnitTest::GetInstance()->random_seed()) + "_" +
               std::to_string(reinterpret_cast<uintptr_t>(this)));
    std::filesystem::create_directories(folder_);
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }
  std::filesystem::path folder_;
};

// Constructs a mapper on `file` and returns the exception it raised.
CColourProfileException Refusal(const std::wstring& file) {
  try {
    CLcmsCMYKMapper mapper(file.c_str());
  } catch (const CColourProfileException& e) {
    return e;
  }
  ADD_FAILURE() << "no exception for the profile";
  return CColourProfileException(0, L"", L"");
}

TEST_F(LcmsCMYKMapperErrors, RefusesUnusableFilesWithAReason) {
  const std::string text = (folder_ / "notes.icc").string();
  std::ofstream(text) << "This is not a colour profile, just some text that is long enough to read.\n";
  const std::string empty = (folder_ / "empty.icc").string();
  std::ofstream{empty};
  const std::string missing = (folder_ / "missing.icc").string();

  const struct {
    const char* name;
    std::wstring file;
    int cause;
    const wchar_t* reason;
  } cases[] = {
      {"missing file", Wide(missing), CFileException::fileNotFound, L"cannot open"},
      {"folder", Wide(folder_.string()), CFileException::invalidFile, L"not a regular file"},
      {"text file", Wide(text), CFileException::invalidFile, L"not a readable ICC profile"},
      {"empty file", Wide(empty), CFileException::invalidFile, L"not a readable ICC profile"},
      {"RGB profile", kRgbProfile, CFileException::invalidFile, L"describes RGB colours"},
      {"no name", L"", CFileException::badPath, L"no file name"},
  };
  for (const auto& c : cases) {
    const CColourProfileException e = Refusal(c.file);
    EXPECT_EQ(e.m_cause, c.cause) << c.name;
    const CString message = e.GetMessage();
    EXPECT_NE(message.Find(c.reason), -1) << c.name << ": " << e.what();
    EXPECT_NE(message.Find(c.file.c_str()), -1) << c.name << ": " << e.what();
  }
}

TEST_F(LcmsCMYKMapperErrors, IsAFileExceptionThrownByValue) {
  try {
    CLcmsCMYKMapper mapper(kRgbProfile);
    ADD_FAILURE() << "no exception for an RGB profile";
  } catch (const CFileException& e) {
    EXPECT_NE(std::string(e.what()).find("sRGB.icc"), std::string::npos) << e.what();
  }
}

// One mapper shared by several threads gives each the same answers as a
// single thread does.
TEST(LcmsCMYKMapperThreads, SharedMapperConvertsConsistently) {
  CLcmsCMYKMapper mapper(kCmykProfile);
  std::vector<uint32_t> expected;
  for (uint32_t i = 0; i < 2000; ++i) expected.push_back(mapper.RGBToCMYK(i * 40503u));
  std::vector<int> mismatches(4, 0);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&, t] {
      for (int round = 0; round < 3; ++round)
        for (uint32_t i = 0; i < 2000; ++i) {
          const uint32_t index = (i * 7 + t * 13 + round) % 2000;
          if (mapper.RGBToCMYK(index * 40503u) != expected[index]) ++mismatches[t];
          mapper.CMYKToRGB(expected[index]);
        }
    });
  for (auto& th : threads) th.join();
  for (int t = 0; t < 4; ++t) EXPECT_EQ(mismatches[t], 0) << t;
}

}  // namespace
