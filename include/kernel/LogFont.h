#pragma once
// The font records: LOGFONTW (a logical font) and PANOSE (the ten-byte font
// classification), laid out as the Windows headers lay them out, with wide
// characters of this platform.
#include <cstdint>

#include <kernel/WinTypes.h>

constexpr int LF_FACESIZE = 32;

// Weights and character sets the library's records use as defaults.
constexpr int32_t FW_DONTCARE = 0;
constexpr int32_t FW_NORMAL = 400;
constexpr int32_t FW_BOLD = 700;
constexpr BYTE ANSI_CHARSET = 0;
constexpr BYTE DEFAULT_CHARSET = 1;

struct LOGFONTW {
  LONG lfHeight;
  LONG lfWidth;
  LONG lfEscapement;
  LONG lfOrientation;
  LONG lfWeight;
  BYTE lfItalic;
  BYTE lfUnderline;
  BYTE lfStrikeOut;
  BYTE lfCharSet;
  BYTE lfOutPrecision;
  BYTE lfClipPrecision;
  BYTE lfQuality;
  BYTE lfPitchAndFamily;
  wchar_t lfFaceName[LF_FACESIZE];
};
using LOGFONT = LOGFONTW;

struct PANOSE {
  BYTE bFamilyType;
  BYTE bSerifStyle;
  BYTE bWeight;
  BYTE bProportion;
  BYTE bContrast;
  BYTE bStrokeVariation;
  BYTE bArmStyle;
  BYTE bLetterform;
  BYTE bMidline;
  BYTE bXHeight;
};
static_assert(sizeof(PANOSE) == 10, "PANOSE is ten bytes");
