#include <kernel/SystemParameters.h>

#include <atomic>
#include <cstring>
#include <mutex>

namespace {

// How a setting travels in SystemParametersInfoW.
enum class SetVia { UiParam, PvParam };

struct Setting {
  UINT get;
  UINT set;
  SetVia via;
  UINT value;  // the documented default
};

// LOGFONTW of the default interface font: "Segoe UI", 9 points at 96 dots
// per inch, normal weight, default character set, ClearType quality.
LOGFONTW DefaultFont() {
  LOGFONTW f;
  std::memset(&f, 0, sizeof f);
  f.lfHeight = -12;
  f.lfWeight = FW_NORMAL;
  f.lfCharSet = DEFAULT_CHARSET;
  f.lfQuality = 5;  // ClearType
  const wchar_t* face = L"Segoe UI";
  for (size_t i = 0; face[i] && i + 1 < size_t(LF_FACESIZE); ++i) f.lfFaceName[i] = face[i];
  return f;
}

NONCLIENTMETRICSW DefaultMetrics() {
  NONCLIENTMETRICSW m;
  std::memset(&m, 0, sizeof m);
  m.cbSize = sizeof m;
  m.iBorderWidth = 1;
  m.iScrollWidth = 17;
  m.iScrollHeight = 17;
  m.iCaptionWidth = 22;
  m.iCaptionHeight = 22;
  m.iSmCaptionWidth = 22;
  m.iSmCaptionHeight = 22;
  m.iMenuWidth = 19;
  m.iMenuHeight = 19;
  m.lfCaptionFont = m.lfSmCaptionFont = m.lfMenuFont = m.lfStatusFont = m.lfMessageFont = DefaultFont();
  m.iPaddedBorderWidth = 4;
  return m;
}

constexpr RECT kScreen{0, 0, 1920, 1080};
constexpr RECT kDefaultWorkArea{0, 0, 1920, 1040};

class SettingsRecord {
 public:
  static SettingsRecord& Instance() {
    static SettingsRecord record;
    return record;
  }

  BOOL Query(UINT action, UINT uiParam, void* pv) {
    std::lock_guard<std::mutex> lock(m_mutex);
    switch (action) {
      case SPI_GETNONCLIENTMETRICS: {
        auto* m = static_cast<NONCLIENTMETRICSW*>(pv);
        const size_t bytes = m ? MetricsBytes(m->cbSize) : 0;
        if (!bytes) return FALSE;
        // The size field stays the caller's; everything after it is copied.
        std::memcpy(reinterpret_cast<char*>(m) + sizeof(UINT), reinterpret_cast<const char*>(&m_metrics) + sizeof(UINT),
                    bytes - sizeof(UINT));
        return TRUE;
      }
      case SPI_SETNONCLIENTMETRICS: {
        const auto* m = static_cast<const NONCLIENTMETRICSW*>(pv);
        const size_t bytes = m ? MetricsBytes(m->cbSize) : 0;
        if (!bytes) return FALSE;
        std::memcpy(reinterpret_cast<char*>(&m_metrics) + sizeof(UINT), reinterpret_cast<const char*>(m) + sizeof(UINT),
                    bytes - sizeof(UINT));
        return TRUE;
      }
      case SPI_GETWORKAREA:
        if (!pv) return FALSE;
        *static_cast<RECT*>(pv) = m_workArea;
        return TRUE;
      case SPI_SETWORKAREA: {
        const RECT r = pv ? *static_cast<const RECT*>(pv) : kScreen;
        if (r.right <= r.left || r.bottom <= r.top) return FALSE;
        m_workArea = r;
        return TRUE;
      }
      case SPI_SETBORDER:
        m_metrics.iBorderWidth = int(uiParam);
        return TRUE;
      default:
        break;
    }
    if (UINT value; GetNumberLocked(action, value)) {
      if (!pv) return FALSE;
      *static_cast<UINT*>(pv) = value;
      return TRUE;
    }
    for (Setting& s : m_settings) {
      if (action == s.set) {
        s.value = s.via == SetVia::UiParam ? uiParam : UINT(reinterpret_cast<uintptr_t>(pv));
        return TRUE;
      }
    }
    return FALSE;
  }

  // A setting that is one number (or yes/no); false for every other
  // action, setters included, so nothing is written through a caller's
  // buffer of the wrong size.
  bool GetNumber(UINT action, UINT& value) {
    std::lock_guard<std::mutex> lock(m_mutex);
    return GetNumberLocked(action, value);
  }

 private:
  bool GetNumberLocked(UINT action, UINT& value) const {
    if (action == SPI_GETBORDER) {
      value = UINT(m_metrics.iBorderWidth);
      return true;
    }
    for (const Setting& s : m_settings) {
      if (action == s.get) {
        value = s.value;
        return true;
      }
    }
    return false;
  }

  SettingsRecord() : m_metrics(DefaultMetrics()), m_workArea(kDefaultWorkArea) {}

  // The bytes a caller's record holds: the current layout, or the older one
  // without the padded border.
  static size_t MetricsBytes(UINT cbSize) {
    if (cbSize == sizeof(NONCLIENTMETRICSW)) return sizeof(NONCLIENTMETRICSW);
    if (cbSize == NONCLIENTMETRICSW_V1_SIZE) return NONCLIENTMETRICSW_V1_SIZE;
    return 0;
  }

  std::mutex m_mutex;
  NONCLIENTMETRICSW m_metrics;
  RECT m_workArea;
  Setting m_settings[37] = {
      {SPI_GETBEEP, SPI_SETBEEP, SetVia::UiParam, TRUE},
      {SPI_GETKEYBOARDSPEED, SPI_SETKEYBOARDSPEED, SetVia::UiParam, 31},
      {SPI_GETKEYBOARDDELAY, SPI_SETKEYBOARDDELAY, SetVia::UiParam, 1},
      {SPI_GETICONTITLEWRAP, SPI_SETICONTITLEWRAP, SetVia::UiParam, TRUE},
      {SPI_GETMENUDROPALIGNMENT, SPI_SETMENUDROPALIGNMENT, SetVia::UiParam, FALSE},
      {SPI_GETDRAGFULLWINDOWS, SPI_SETDRAGFULLWINDOWS, SetVia::UiParam, TRUE},
      {SPI_GETSHOWSOUNDS, SPI_SETSHOWSOUNDS, SetVia::UiParam, FALSE},
      {SPI_GETFONTSMOOTHING, SPI_SETFONTSMOOTHING, SetVia::UiParam, TRUE},
      {SPI_GETSNAPTODEFBUTTON, SPI_SETSNAPTODEFBUTTON, SetVia::UiParam, FALSE},
      {SPI_GETMOUSEHOVERWIDTH, SPI_SETMOUSEHOVERWIDTH, SetVia::UiParam, 4},
      {SPI_GETMOUSEHOVERHEIGHT, SPI_SETMOUSEHOVERHEIGHT, SetVia::UiParam, 4},
      {SPI_GETMOUSEHOVERTIME, SPI_SETMOUSEHOVERTIME, SetVia::UiParam, 400},
      {SPI_GETWHEELSCROLLLINES, SPI_SETWHEELSCROLLLINES, SetVia::UiParam, 3},
      {SPI_GETMENUSHOWDELAY, SPI_SETMENUSHOWDELAY, SetVia::UiParam, 400},
      {SPI_GETWHEELSCROLLCHARS, SPI_SETWHEELSCROLLCHARS, SetVia::UiParam, 3},
      {SPI_GETMOUSESPEED, SPI_SETMOUSESPEED, SetVia::PvParam, 10},
      {SPI_GETMENUANIMATION, SPI_SETMENUANIMATION, SetVia::PvParam, TRUE},
      {SPI_GETCOMBOBOXANIMATION, SPI_SETCOMBOBOXANIMATION, SetVia::PvParam, TRUE},
      {SPI_GETLISTBOXSMOOTHSCROLLING, SPI_SETLISTBOXSMOOTHSCROLLING, SetVia::PvParam, TRUE},
      {SPI_GETGRADIENTCAPTIONS, SPI_SETGRADIENTCAPTIONS, SetVia::PvParam, TRUE},
      {SPI_GETKEYBOARDCUES, SPI_SETKEYBOARDCUES, SetVia::PvParam, FALSE},
      {SPI_GETHOTTRACKING, SPI_SETHOTTRACKING, SetVia::PvParam, TRUE},
      {SPI_GETMENUFADE, SPI_SETMENUFADE, SetVia::PvParam, TRUE},
      {SPI_GETSELECTIONFADE, SPI_SETSELECTIONFADE, SetVia::PvParam, TRUE},
      {SPI_GETTOOLTIPANIMATION, SPI_SETTOOLTIPANIMATION, SetVia::PvParam, TRUE},
      {SPI_GETTOOLTIPFADE, SPI_SETTOOLTIPFADE, SetVia::PvParam, TRUE},
      {SPI_GETCURSORSHADOW, SPI_SETCURSORSHADOW, SetVia::PvParam, TRUE},
      {SPI_GETFLATMENU, SPI_SETFLATMENU, SetVia::PvParam, TRUE},
      {SPI_GETDROPSHADOW, SPI_SETDROPSHADOW, SetVia::PvParam, TRUE},
      {SPI_GETUIEFFECTS, SPI_SETUIEFFECTS, SetVia::PvParam, TRUE},
      {SPI_GETCLIENTAREAANIMATION, SPI_SETCLIENTAREAANIMATION, SetVia::PvParam, TRUE},
      {SPI_GETFOREGROUNDLOCKTIMEOUT, SPI_SETFOREGROUNDLOCKTIMEOUT, SetVia::PvParam, 200000},
      {SPI_GETCARETWIDTH, SPI_SETCARETWIDTH, SetVia::PvParam, 1},
      {SPI_GETFONTSMOOTHINGTYPE, SPI_SETFONTSMOOTHINGTYPE, SetVia::PvParam, 2},
      {SPI_GETFONTSMOOTHINGCONTRAST, SPI_SETFONTSMOOTHINGCONTRAST, SetVia::PvParam, 1200},
      {SPI_GETFOCUSBORDERWIDTH, SPI_SETFOCUSBORDERWIDTH, SetVia::PvParam, 1},
      {SPI_GETFOCUSBORDERHEIGHT, SPI_SETFOCUSBORDERHEIGHT, SetVia::PvParam, 1},
  };
};

}  // namespace

BOOL SystemParametersInfoW(UINT action, UINT uiParam, void* pvParam, UINT fWinIni) {
  (void)fWinIni;
  return SettingsRecord::Instance().Query(action, uiParam, pvParam);
}

namespace Kernel {

namespace {
// The buffer handed out by SPIGetNonClientMetrics: made on first use and
// kept for the life of the process, as callers hold on to the reference.
std::atomic<NONCLIENTMETRICSW*> g_metrics{nullptr};

bool GetBool(UINT action, int fallback) {
  UINT value = FALSE;
  if (!SettingsRecord::Instance().GetNumber(action, value)) return fallback != 0;
  return value != FALSE;
}
}  // namespace

NONCLIENTMETRICSW& SPIGetNonClientMetrics() {
  static NONCLIENTMETRICSW* const buffer = [] {
    static NONCLIENTMETRICSW storage;
    std::memset(&storage, 0, sizeof storage);
    storage.cbSize = sizeof storage;
    g_metrics.store(&storage, std::memory_order_release);
    return &storage;
  }();
  SystemParametersInfoW(SPI_GETNONCLIENTMETRICS, sizeof(NONCLIENTMETRICSW), buffer, 0);
  return *buffer;
}

bool SPIUpdateNonClientMetrics() {
  NONCLIENTMETRICSW* metrics = g_metrics.load(std::memory_order_acquire);
  if (!metrics) return false;
  return SystemParametersInfoW(SPI_SETNONCLIENTMETRICS, sizeof(NONCLIENTMETRICSW), metrics, 0) != FALSE;
}

uint32_t SPIGetUINTParameter(int action) {
  UINT value = 0;
  if (!SettingsRecord::Instance().GetNumber(UINT(action), value)) return 0;
  return value;
}

bool SPIGetDragFullWindows(int fallback) { return GetBool(SPI_GETDRAGFULLWINDOWS, fallback); }
bool SPIGetKeyboardCues(int fallback) { return GetBool(SPI_GETKEYBOARDCUES, fallback); }
bool SPIGetMenuAnimation(int fallback) { return GetBool(SPI_GETMENUANIMATION, fallback); }
bool SPIGetMenuFade(int fallback) { return GetBool(SPI_GETMENUFADE, fallback); }
bool SPIGetGradientCaptions(int fallback) { return GetBool(SPI_GETGRADIENTCAPTIONS, fallback); }

uint32_t SPIGetKeyboardDelay() { return SPIGetUINTParameter(int(SPI_GETKEYBOARDDELAY)); }
uint32_t SPIGetKeyboardSpeed() { return SPIGetUINTParameter(int(SPI_GETKEYBOARDSPEED)); }

CRect SPIGetWorkArea() {
  RECT r{0, 0, 0, 0};
  SystemParametersInfoW(SPI_GETWORKAREA, 0, &r, 0);
  return CRect(r);
}

}  // namespace Kernel
