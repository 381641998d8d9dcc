#pragma once
// Device-independent bitmap records and palettes with the Windows layouts,
// byte for byte, so packed bitmaps read and write the same bytes as on
// Windows.
#include <vector>

#include <kernel/CObject.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

struct RGBQUAD {
  BYTE rgbBlue;
  BYTE rgbGreen;
  BYTE rgbRed;
  BYTE rgbReserved;
};

struct RGBTRIPLE {
  BYTE rgbtBlue;
  BYTE rgbtGreen;
  BYTE rgbtRed;
};

struct PALETTEENTRY {
  BYTE peRed;
  BYTE peGreen;
  BYTE peBlue;
  BYTE peFlags;
};

struct LOGPALETTE {
  WORD palVersion;  // 0x300
  WORD palNumEntries;
  PALETTEENTRY palPalEntry[1];  // palNumEntries entries follow
};

struct BITMAPINFOHEADER {
  DWORD biSize;
  LONG biWidth;
  LONG biHeight;  // positive: rows stored bottom-up
  WORD biPlanes;
  WORD biBitCount;
  DWORD biCompression;
  DWORD biSizeImage;
  LONG biXPelsPerMeter;
  LONG biYPelsPerMeter;
  DWORD biClrUsed;
  DWORD biClrImportant;
};

struct BITMAPINFO {
  BITMAPINFOHEADER bmiHeader;
  RGBQUAD bmiColors[1];  // the colour table follows the header
};

#pragma pack(push, 2)
struct BITMAPFILEHEADER {
  WORD bfType;  // "BM"
  DWORD bfSize;
  WORD bfReserved1;
  WORD bfReserved2;
  DWORD bfOffBits;
};
#pragma pack(pop)

static_assert(sizeof(RGBQUAD) == 4);
static_assert(sizeof(RGBTRIPLE) == 3);
static_assert(sizeof(PALETTEENTRY) == 4);
static_assert(sizeof(LOGPALETTE) == 8);
static_assert(sizeof(BITMAPINFOHEADER) == 40);
static_assert(sizeof(BITMAPINFO) == 44);
static_assert(sizeof(BITMAPFILEHEADER) == 14);

constexpr DWORD BI_RGB = 0;
constexpr DWORD BI_RLE8 = 1;
constexpr DWORD BI_RLE4 = 2;
constexpr DWORD BI_BITFIELDS = 3;
constexpr DWORD BI_JPEG = 4;
constexpr DWORD BI_PNG = 5;

constexpr UINT DIB_RGB_COLORS = 0;
constexpr UINT DIB_PAL_COLORS = 1;

constexpr BYTE PC_RESERVED = 0x01;
constexpr BYTE PC_EXPLICIT = 0x02;
constexpr BYTE PC_NOCOLLAPSE = 0x04;

// Base of the drawing objects; it only tracks whether an object was created.
class NK_API CGdiObject : public CObject {
  DECLARE_DYNAMIC(CGdiObject)

 public:
  ~CGdiObject() override;
  // Releases what the object holds; FALSE when it held nothing.
  virtual BOOL DeleteObject();
  // TRUE once created and until deleted.
  BOOL IsCreated() const noexcept { return m_bCreated; }

 protected:
  BOOL m_bCreated = FALSE;
};

// A logical palette: an ordered list of colours.
class NK_API CPalette : public CGdiObject {
  DECLARE_DYNAMIC(CPalette)

 public:
  CPalette();
  ~CPalette() override;

  // Copies palNumEntries entries. FALSE when the palette already exists, the
  // record is null or has no entries.
  BOOL CreatePalette(const LOGPALETTE* logPalette);
  BOOL DeleteObject() override;

  int GetEntryCount() const;
  // Copies up to `count` entries from `start`; returns how many were copied
  // (0 when out of range). With a null `entries` returns the entry count.
  UINT GetPaletteEntries(UINT start, UINT count, PALETTEENTRY* entries) const;
  UINT SetPaletteEntries(UINT start, UINT count, const PALETTEENTRY* entries);
  // Changes the number of entries; new entries are black.
  BOOL ResizePalette(UINT entries);
  // Index of the entry nearest `colour` by squared RGB distance; the first
  // of equally near entries wins. CLR_INVALID when there is no palette.
  UINT GetNearestPaletteIndex(COLORREF colour) const;

 private:
  std::vector<PALETTEENTRY> m_entries;
};
