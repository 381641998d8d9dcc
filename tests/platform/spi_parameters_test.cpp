// The process's settings record: documented defaults, reading and writing
// through SystemParametersInfoW and the SPIGet... helpers, and bad requests.
#include <gtest/gtest.h>

#include <kernel/SystemParameters.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <utility>

namespace {

std::wstring Face(const LOGFONTW& f) { return std::wstring(f.lfFaceName); }

void* AsPointer(uintptr_t v) { return reinterpret_cast<void*>(v); }

}  // namespace

// Must stay the first test of this file: the buffer exists only after the
// first SPIGetNonClientMetrics, and tests run in file order.
TEST(SystemParameters, UpdateBeforeTheBufferExistsFails) { EXPECT_FALSE(Kernel::SPIUpdateNonClientMetrics()); }

TEST(SystemParameters, DocumentedDefaults) {
  const std::pair<UINT, uint32_t> cases[] = {{SPI_GETBEEP, 1},
                                             {SPI_GETBORDER, 1},
                                             {SPI_GETKEYBOARDSPEED, 31},
                                             {SPI_GETKEYBOARDDELAY, 1},
                                             {SPI_GETDRAGFULLWINDOWS, 1},
                                             {SPI_GETWHEELSCROLLLINES, 3},
                                             {SPI_GETWHEELSCROLLCHARS, 3},
                                             {SPI_GETMOUSEHOVERTIME, 400},
                                             {SPI_GETMENUSHOWDELAY, 400},
                                             {SPI_GETMOUSESPEED, 10},
                                             {SPI_GETKEYBOARDCUES, 0},
                                             {SPI_GETMENUANIMATION, 1},
                                             {SPI_GETMENUFADE, 1},
                                             {SPI_GETGRADIENTCAPTIONS, 1},
                                             {SPI_GETFONTSMOOTHINGTYPE, 2},
                                             {SPI_GETCARETWIDTH, 1},
                                             {SPI_GETFOREGROUNDLOCKTIMEOUT, 200000}};
  for (const auto& [action, value] : cases)
    EXPECT_EQ(Kernel::SPIGetUINTParameter(int(action)), value) << std::hex << action;
  EXPECT_EQ(Kernel::SPIGetKeyboardDelay(), 1u);
  EXPECT_EQ(Kernel::SPIGetKeyboardSpeed(), 31u);
  // The fallbacks are the opposite of the stored answers: they must not be taken.
  EXPECT_TRUE(Kernel::SPIGetDragFullWindows(FALSE));
  EXPECT_FALSE(Kernel::SPIGetKeyboardCues(TRUE));
  EXPECT_TRUE(Kernel::SPIGetMenuAnimation(FALSE));
  EXPECT_TRUE(Kernel::SPIGetMenuFade(FALSE));
  EXPECT_TRUE(Kernel::SPIGetGradientCaptions(FALSE));
  EXPECT_EQ(Kernel::SPIGetWorkArea(), CRect(0, 0, 1920, 1040));

  const NONCLIENTMETRICSW& m = Kernel::SPIGetNonClientMetrics();
  EXPECT_EQ(m.cbSize, sizeof(NONCLIENTMETRICSW));
  const int expected[] = {1, 17, 17, 22, 22, 22, 22, 19, 19, 4};
  const int actual[] = {m.iBorderWidth,    m.iScrollWidth,     m.iScrollHeight, m.iCaptionWidth, m.iCaptionHeight,
                        m.iSmCaptionWidth, m.iSmCaptionHeight, m.iMenuWidth,    m.iMenuHeight,   m.iPaddedBorderWidth};
  for (size_t i = 0; i < std::size(expected); ++i) EXPECT_EQ(actual[i], expected[i]) << i;
  for (const LOGFONTW* f : {&m.lfCaptionFont, &m.lfSmCaptionFont, &m.lfMenuFont, &m.lfStatusFont, &m.lfMessageFont}) {
    EXPECT_EQ(Face(*f), L"Segoe UI");
    EXPECT_EQ(f->lfHeight, -12);
    EXPECT_EQ(f->lfWeight, 400);
    EXPECT_EQ(f->lfItalic, 0);
  }
}

TEST(SystemParameters, MetricsEditsLastOnlyWhenStored) {
  NONCLIENTMETRICSW& m = Kernel::SPIGetNonClientMetrics();
  const NONCLIENTMETRICSW saved = m;
  m.iScrollWidth = 25;
  // Reading again re-reads the record over the unsaved edit.
  EXPECT_EQ(&Kernel::SPIGetNonClientMetrics(), &m);
  EXPECT_EQ(m.iScrollWidth, 17);

  m.iScrollWidth = 25;
  m.lfMenuFont.lfWeight = 700;
  std::memset(m.lfStatusFont.lfFaceName, 0, sizeof m.lfStatusFont.lfFaceName);
  m.lfStatusFont.lfFaceName[0] = L'X';
  ASSERT_TRUE(Kernel::SPIUpdateNonClientMetrics());
  m.iScrollWidth = 0;
  const NONCLIENTMETRICSW& again = Kernel::SPIGetNonClientMetrics();
  EXPECT_EQ(again.iScrollWidth, 25);
  EXPECT_EQ(again.lfMenuFont.lfWeight, 700);
  EXPECT_EQ(Face(again.lfStatusFont), L"X");
  EXPECT_EQ(again.cbSize, sizeof(NONCLIENTMETRICSW));

  // The border setting and the metrics' border are one value.
  ASSERT_TRUE(SystemParametersInfoW(SPI_SETBORDER, 3, nullptr, 0));
  EXPECT_EQ(Kernel::SPIGetNonClientMetrics().iBorderWidth, 3);

  m = saved;
  ASSERT_TRUE(Kernel::SPIUpdateNonClientMetrics());
  EXPECT_EQ(Kernel::SPIGetUINTParameter(int(SPI_GETBORDER)), 1u);
}

TEST(SystemParameters, SettersTakeTheirValueWhereThePlatformPutsIt) {
  struct Case {
    UINT get, set;
    bool viaPointer;
    UINT value;
  } cases[] = {
      {SPI_GETKEYBOARDDELAY, SPI_SETKEYBOARDDELAY, false, 3},
      {SPI_GETKEYBOARDSPEED, SPI_SETKEYBOARDSPEED, false, 0},
      {SPI_GETDRAGFULLWINDOWS, SPI_SETDRAGFULLWINDOWS, false, FALSE},
      {SPI_GETWHEELSCROLLLINES, SPI_SETWHEELSCROLLLINES, false, 7},
      {SPI_GETMOUSESPEED, SPI_SETMOUSESPEED, true, 20},
      {SPI_GETKEYBOARDCUES, SPI_SETKEYBOARDCUES, true, TRUE},
      {SPI_GETMENUANIMATION, SPI_SETMENUANIMATION, true, FALSE},
      {SPI_GETMENUFADE, SPI_SETMENUFADE, true, FALSE},
      {SPI_GETGRADIENTCAPTIONS, SPI_SETGRADIENTCAPTIONS, true, FALSE},
      {SPI_GETCARETWIDTH, SPI_SETCARETWIDTH, true, 2},
  };
  for (const Case& c : cases) {
    const uint32_t before = Kernel::SPIGetUINTParameter(int(c.get));
    // The value in the other argument must be ignored.
    const UINT ui = c.viaPointer ? 9999 : c.value;
    void* pv = c.viaPointer ? AsPointer(c.value) : AsPointer(8888);
    ASSERT_TRUE(SystemParametersInfoW(c.set, ui, pv, SPIF_UPDATEINIFILE | SPIF_SENDCHANGE)) << std::hex << c.set;
    EXPECT_EQ(Kernel::SPIGetUINTParameter(int(c.get)), c.value) << std::hex << c.get;
    ASSERT_TRUE(SystemParametersInfoW(c.set, c.viaPointer ? 0 : before, c.viaPointer ? AsPointer(before) : nullptr, 0));
    EXPECT_EQ(Kernel::SPIGetUINTParameter(int(c.get)), before);
  }
  ASSERT_TRUE(SystemParametersInfoW(SPI_SETKEYBOARDCUES, 0, AsPointer(TRUE), 0));
  EXPECT_TRUE(Kernel::SPIGetKeyboardCues(FALSE));
  ASSERT_TRUE(SystemParametersInfoW(SPI_SETKEYBOARDCUES, 0, AsPointer(FALSE), 0));
  EXPECT_FALSE(Kernel::SPIGetKeyboardCues(TRUE));
}

TEST(SystemParameters, WorkArea) {
  RECT r{1, 2, 3, 4};
  ASSERT_TRUE(SystemParametersInfoW(SPI_GETWORKAREA, 0, &r, 0));
  const RECT original = r;
  const std::pair<RECT, BOOL> cases[] = {
      {{0, 30, 1280, 1024}, TRUE},
      {{100, 100, 100, 200}, FALSE},  // empty
      {{100, 200, 300, 150}, FALSE},  // upside down
      {{-1920, 0, 0, 1080}, TRUE},
  };
  for (const auto& [set, ok] : cases) {
    const CRect before = Kernel::SPIGetWorkArea();
    RECT in = set;
    EXPECT_EQ(SystemParametersInfoW(SPI_SETWORKAREA, 0, &in, 0), ok);
    EXPECT_EQ(Kernel::SPIGetWorkArea(), ok ? CRect(set) : before);
  }
  // No rectangle: the whole screen.
  ASSERT_TRUE(SystemParametersInfoW(SPI_SETWORKAREA, 0, nullptr, 0));
  EXPECT_EQ(Kernel::SPIGetWorkArea(), CRect(0, 0, 1920, 1080));
  RECT restore = original;
  ASSERT_TRUE(SystemParametersInfoW(SPI_SETWORKAREA, 0, &restore, 0));
}

TEST(SystemParameters, BadRequests) {
  UINT value = 1234;
  EXPECT_FALSE(SystemParametersInfoW(0x7777, 0, &value, 0));
  EXPECT_EQ(value, 1234u);
  EXPECT_FALSE(SystemParametersInfoW(SPI_GETKEYBOARDSPEED, 0, nullptr, 0));
  EXPECT_FALSE(SystemParametersInfoW(SPI_GETWORKAREA, 0, nullptr, 0));
  EXPECT_EQ(Kernel::SPIGetUINTParameter(0x7777), 0u);
  EXPECT_EQ(Kernel::SPIGetUINTParameter(-1), 0u);
  // Only single-number settings: records and setters answer 0 and change nothing.
  EXPECT_EQ(Kernel::SPIGetUINTParameter(int(SPI_GETWORKAREA)), 0u);
  EXPECT_EQ(Kernel::SPIGetUINTParameter(int(SPI_GETNONCLIENTMETRICS)), 0u);
  EXPECT_EQ(Kernel::SPIGetUINTParameter(int(SPI_SETMOUSESPEED)), 0u);
  EXPECT_EQ(Kernel::SPIGetUINTParameter(int(SPI_GETMOUSESPEED)), 10u);
}

TEST(SystemParameters, OlderMetricsRecordStopsBeforeThePaddedBorder) {
  NONCLIENTMETRICSW m{};
  m.cbSize = NONCLIENTMETRICSW_V1_SIZE;
  m.iPaddedBorderWidth = -77;
  ASSERT_TRUE(SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, 0, &m, 0));
  EXPECT_EQ(m.iMenuHeight, 19);
  EXPECT_EQ(m.iPaddedBorderWidth, -77);
  EXPECT_EQ(m.cbSize, NONCLIENTMETRICSW_V1_SIZE);
  m.cbSize = sizeof m + 4;
  EXPECT_FALSE(SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, 0, &m, 0));
  EXPECT_FALSE(SystemParametersInfoW(SPI_SETNONCLIENTMETRICS, 0, nullptr, 0));
}
