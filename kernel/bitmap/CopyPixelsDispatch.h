#pragma once
// The destination-level routines, one per destination type, instantiated in
// three translation units so the 477 pair routines compile in parallel.
#include <kernel/Bitmap.h>

namespace Kernel::convert {

struct Rects;

template <int DT>
bool DestLevel(CBaseBitmap* dst, const CBaseBitmap* src, const Rects& rects, bool wide);

// Runs the source level for a destination iterator over a packed bitmap.
template <int DT>
bool DibDestLevel(HGLOBAL dib, const CBaseBitmap* src, const Rects& rects);

}  // namespace Kernel::convert
