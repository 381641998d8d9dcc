#pragma once
// Regions: areas of the plane held as bands of rectangles, with the
// operating system's region functions, names and results. The rectangle
// lists read them back through GetRegionData.
//
// A region is kept in the canonical banded form: rectangles sorted top to
// bottom, then left to right; rectangles of one band share top and bottom;
// rectangles of one band neither overlap nor touch; vertically adjacent
// bands with identical spans are merged. GetRegionData hands out exactly
// that list, so two equal areas always give the same data.
//
// The region kinds are NULLREGION, SIMPLEREGION and COMPLEXREGION; failure
// is RGN_ERROR (0). The framework's bare ERROR alias of 0 is not defined:
// as a global name it would collide with too much other code.
#include <kernel/CRect.h>
#include <kernel/Export.h>
#include <kernel/WinTypes.h>

#include <cstddef>

struct HRGN__;
typedef HRGN__* HRGN;

inline constexpr int RGN_ERROR = 0;
inline constexpr int NULLREGION = 1;
inline constexpr int SIMPLEREGION = 2;
inline constexpr int COMPLEXREGION = 3;

inline constexpr int RGN_AND = 1;
inline constexpr int RGN_OR = 2;
inline constexpr int RGN_XOR = 3;
inline constexpr int RGN_DIFF = 4;
inline constexpr int RGN_COPY = 5;

inline constexpr DWORD RDH_RECTANGLES = 1;

// The header of region data: 32 bytes, followed by nCount RECTs.
struct RGNDATAHEADER {
  DWORD dwSize;    // sizeof(RGNDATAHEADER), 32
  DWORD iType;     // RDH_RECTANGLES
  DWORD nCount;    // number of rectangles in Buffer
  DWORD nRgnSize;  // bytes of rectangle data, nCount * sizeof(RECT)
  RECT rcBound;    // bounding box, all zeros for an empty region
};
struct RGNDATA {
  RGNDATAHEADER rdh;
  char Buffer[1];  // nCount RECTs start here
};
static_assert(sizeof(RGNDATAHEADER) == 32, "region data header layout");
static_assert(offsetof(RGNDATA, Buffer) == 32, "region data layout");

// A rectangular region; inverted coordinates are swapped. The caller owns
// it and releases it with DeleteObject. Null when memory runs out.
NK_API HRGN CreateRectRgn(int left, int top, int right, int bottom);
NK_API HRGN CreateRectRgnIndirect(const RECT* rect);
// A region from region data (as GetRegionData returns it, the rectangles
// need not be banded or disjoint); xform must be null. Null on bad data.
NK_API HRGN ExtCreateRegion(const void* xform, DWORD count, const RGNDATA* data);
// Makes rgn the given rectangle.
NK_API BOOL SetRectRgn(HRGN rgn, int left, int top, int right, int bottom);
// dst = a op b (RGN_COPY ignores b). dst may be a or b. Returns the kind of
// the result, or RGN_ERROR for a null region or an unknown mode.
NK_API int CombineRgn(HRGN dst, HRGN a, HRGN b, int mode);
// With data null: the bytes needed (32 + 16 per rectangle). Otherwise fills
// data and returns count when count is large enough, else 0. 0 for a null
// region.
NK_API DWORD GetRegionData(HRGN rgn, DWORD count, RGNDATA* data);
// Bounding box and kind of the region.
NK_API int GetRgnBox(HRGN rgn, RECT* box);
NK_API int OffsetRgn(HRGN rgn, int dx, int dy);
NK_API BOOL PtInRegion(HRGN rgn, int x, int y);
// True when any pixel of rect lies in the region.
NK_API BOOL RectInRegion(HRGN rgn, const RECT* rect);
NK_API BOOL EqualRgn(HRGN a, HRGN b);
// Releases the region; FALSE for null.
NK_API BOOL DeleteObject(HRGN rgn);
