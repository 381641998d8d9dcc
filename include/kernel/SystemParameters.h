#pragma once
// System parameters: window metrics and user-interface settings.
//
// Linux has no system-wide store of non-client metrics and interface
// settings that a library could ask. So the library keeps one settings
// record per process, filled with the values the original desktop platform
// documents as its defaults at 96 dots per inch (one-pixel borders,
// 17-pixel scroll bars, 22-pixel captions, 19-pixel menus, a 4-pixel padded
// border, "Segoe UI" at 9 points for every font; keyboard delay 1 and speed
// 31; full-window dragging, menu animation and fading and gradient captions
// on, keyboard cues off; the work area of a 1920 x 1080 screen above a
// 40-pixel task bar). The record is read and written through the same calls
// as on that platform: SystemParametersInfoW with its action numbers, and
// the SPIGet... helpers over it. A change lasts until the process ends;
// nothing is stored on disk or announced to other programs, so the
// fWinIni flags are accepted and have no effect.
//
// Every call is safe from any thread. The buffer SPIGetNonClientMetrics
// returns is shared by the whole process: a program that edits it from more
// than one thread must serialise those edits itself.
#include <kernel/Export.h>
#include <kernel/CRect.h>
#include <kernel/WinTypes.h>
#include <kernel/LogFont.h>

#include <cstddef>
#include <cstdint>

struct NONCLIENTMETRICSW {
  UINT cbSize;
  int iBorderWidth;
  int iScrollWidth;
  int iScrollHeight;
  int iCaptionWidth;
  int iCaptionHeight;
  LOGFONTW lfCaptionFont;
  int iSmCaptionWidth;
  int iSmCaptionHeight;
  LOGFONTW lfSmCaptionFont;
  int iMenuWidth;
  int iMenuHeight;
  LOGFONTW lfMenuFont;
  LOGFONTW lfStatusFont;
  LOGFONTW lfMessageFont;
  int iPaddedBorderWidth;
};

// The record of systems before the padded border existed; a caller that sets
// cbSize to this reads and writes everything but iPaddedBorderWidth.
constexpr UINT NONCLIENTMETRICSW_V1_SIZE = UINT(offsetof(NONCLIENTMETRICSW, iPaddedBorderWidth));

// Action numbers of SystemParametersInfoW that the settings record answers.
// A getter writes a UINT (a BOOL for yes/no settings) to pvParam; a setter
// takes its value in uiParam, except where noted.
constexpr UINT SPI_GETBEEP = 0x0001;
constexpr UINT SPI_SETBEEP = 0x0002;
constexpr UINT SPI_GETBORDER = 0x0005;  // the same value as iBorderWidth
constexpr UINT SPI_SETBORDER = 0x0006;
constexpr UINT SPI_GETKEYBOARDSPEED = 0x000A;
constexpr UINT SPI_SETKEYBOARDSPEED = 0x000B;
constexpr UINT SPI_GETKEYBOARDDELAY = 0x0016;
constexpr UINT SPI_SETKEYBOARDDELAY = 0x0017;
constexpr UINT SPI_GETICONTITLEWRAP = 0x0019;
constexpr UINT SPI_SETICONTITLEWRAP = 0x001A;
constexpr UINT SPI_GETMENUDROPALIGNMENT = 0x001B;
constexpr UINT SPI_SETMENUDROPALIGNMENT = 0x001C;
constexpr UINT SPI_SETDRAGFULLWINDOWS = 0x0025;
constexpr UINT SPI_GETDRAGFULLWINDOWS = 0x0026;
constexpr UINT SPI_GETNONCLIENTMETRICS = 0x0029;  // pvParam: NONCLIENTMETRICSW* with cbSize set
constexpr UINT SPI_SETNONCLIENTMETRICS = 0x002A;  // pvParam: NONCLIENTMETRICSW* with cbSize set
constexpr UINT SPI_SETWORKAREA = 0x002F;          // pvParam: RECT*, or null for the whole screen
constexpr UINT SPI_GETWORKAREA = 0x0030;          // pvParam: RECT*
constexpr UINT SPI_GETSHOWSOUNDS = 0x0038;
constexpr UINT SPI_SETSHOWSOUNDS = 0x0039;
constexpr UINT SPI_GETFONTSMOOTHING = 0x004A;
constexpr UINT SPI_SETFONTSMOOTHING = 0x004B;
constexpr UINT SPI_GETSNAPTODEFBUTTON = 0x005F;
constexpr UINT SPI_SETSNAPTODEFBUTTON = 0x0060;
constexpr UINT SPI_GETMOUSEHOVERWIDTH = 0x0062;
constexpr UINT SPI_SETMOUSEHOVERWIDTH = 0x0063;
constexpr UINT SPI_GETMOUSEHOVERHEIGHT = 0x0064;
constexpr UINT SPI_SETMOUSEHOVERHEIGHT = 0x0065;
constexpr UINT SPI_GETMOUSEHOVERTIME = 0x0066;
constexpr UINT SPI_SETMOUSEHOVERTIME = 0x0067;
constexpr UINT SPI_GETWHEELSCROLLLINES = 0x0068;
constexpr UINT SPI_SETWHEELSCROLLLINES = 0x0069;
constexpr UINT SPI_GETMENUSHOWDELAY = 0x006A;
constexpr UINT SPI_SETMENUSHOWDELAY = 0x006B;
constexpr UINT SPI_GETWHEELSCROLLCHARS = 0x006C;
constexpr UINT SPI_SETWHEELSCROLLCHARS = 0x006D;
constexpr UINT SPI_GETMOUSESPEED = 0x0070;
constexpr UINT SPI_SETMOUSESPEED = 0x0071;  // value in pvParam
// Interface effects: yes/no, the setter takes its value in pvParam.
constexpr UINT SPI_GETMENUANIMATION = 0x1002;
constexpr UINT SPI_SETMENUANIMATION = 0x1003;
constexpr UINT SPI_GETCOMBOBOXANIMATION = 0x1004;
constexpr UINT SPI_SETCOMBOBOXANIMATION = 0x1005;
constexpr UINT SPI_GETLISTBOXSMOOTHSCROLLING = 0x1006;
constexpr UINT SPI_SETLISTBOXSMOOTHSCROLLING = 0x1007;
constexpr UINT SPI_GETGRADIENTCAPTIONS = 0x1008;
constexpr UINT SPI_SETGRADIENTCAPTIONS = 0x1009;
constexpr UINT SPI_GETKEYBOARDCUES = 0x100A;
constexpr UINT SPI_SETKEYBOARDCUES = 0x100B;
constexpr UINT SPI_GETHOTTRACKING = 0x100E;
constexpr UINT SPI_SETHOTTRACKING = 0x100F;
constexpr UINT SPI_GETMENUFADE = 0x1012;
constexpr UINT SPI_SETMENUFADE = 0x1013;
constexpr UINT SPI_GETSELECTIONFADE = 0x1014;
constexpr UINT SPI_SETSELECTIONFADE = 0x1015;
constexpr UINT SPI_GETTOOLTIPANIMATION = 0x1016;
constexpr UINT SPI_SETTOOLTIPANIMATION = 0x1017;
constexpr UINT SPI_GETTOOLTIPFADE = 0x1018;
constexpr UINT SPI_SETTOOLTIPFADE = 0x1019;
constexpr UINT SPI_GETCURSORSHADOW = 0x101A;
constexpr UINT SPI_SETCURSORSHADOW = 0x101B;
constexpr UINT SPI_GETFLATMENU = 0x1022;
constexpr UINT SPI_SETFLATMENU = 0x1023;
constexpr UINT SPI_GETDROPSHADOW = 0x1024;
constexpr UINT SPI_SETDROPSHADOW = 0x1025;
constexpr UINT SPI_GETUIEFFECTS = 0x103E;
constexpr UINT SPI_SETUIEFFECTS = 0x103F;
constexpr UINT SPI_GETCLIENTAREAANIMATION = 0x1042;
constexpr UINT SPI_SETCLIENTAREAANIMATION = 0x1043;
// Numbers whose setter takes its value in pvParam.
constexpr UINT SPI_GETFOREGROUNDLOCKTIMEOUT = 0x2000;
constexpr UINT SPI_SETFOREGROUNDLOCKTIMEOUT = 0x2001;
constexpr UINT SPI_GETCARETWIDTH = 0x2006;
constexpr UINT SPI_SETCARETWIDTH = 0x2007;
constexpr UINT SPI_GETFONTSMOOTHINGTYPE = 0x200A;
constexpr UINT SPI_SETFONTSMOOTHINGTYPE = 0x200B;
constexpr UINT SPI_GETFONTSMOOTHINGCONTRAST = 0x200C;
constexpr UINT SPI_SETFONTSMOOTHINGCONTRAST = 0x200D;
constexpr UINT SPI_GETFOCUSBORDERWIDTH = 0x200E;
constexpr UINT SPI_SETFOCUSBORDERWIDTH = 0x200F;
constexpr UINT SPI_GETFOCUSBORDERHEIGHT = 0x2010;
constexpr UINT SPI_SETFOCUSBORDERHEIGHT = 0x2011;

constexpr UINT SPIF_UPDATEINIFILE = 0x01;
constexpr UINT SPIF_SENDCHANGE = 0x02;

// Reads or writes one setting of the record. FALSE for an unknown action, a
// null or wrongly sized buffer, or an empty work area.
NK_API BOOL SystemParametersInfoW(UINT action, UINT uiParam, void* pvParam, UINT fWinIni);

namespace Kernel {

// The process's metrics buffer, re-read from the record on every call (so
// unsaved edits to it are lost); SPIUpdateNonClientMetrics stores edits.
NK_API NONCLIENTMETRICSW& SPIGetNonClientMetrics();
// Stores the buffer of SPIGetNonClientMetrics into the record; false before
// that buffer exists.
NK_API bool SPIUpdateNonClientMetrics();
// The UINT setting for a SPI_GET... action number; 0 for an unknown one.
NK_API uint32_t SPIGetUINTParameter(int action);
// Yes/no settings. The argument is the answer for when the query fails,
// for callers written against systems where it can; the record holds all
// of these settings, so here it always answers with the stored one.
NK_API bool SPIGetDragFullWindows(int fallback);
NK_API bool SPIGetKeyboardCues(int fallback);
NK_API bool SPIGetMenuAnimation(int fallback);
NK_API bool SPIGetMenuFade(int fallback);
NK_API bool SPIGetGradientCaptions(int fallback);
// Keyboard repeat delay, 0 (about 250 ms) to 3 (about 1 s).
NK_API uint32_t SPIGetKeyboardDelay();
// Keyboard repeat speed, 0 (about 2.5 per second) to 31 (about 30 per second).
NK_API uint32_t SPIGetKeyboardSpeed();
// The screen area not covered by task bars.
NK_API CRect SPIGetWorkArea();

}  // namespace Kernel
