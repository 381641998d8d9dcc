#pragma once
// Free pixel operations over any bitmap format, walking the pixels with the
// iterators. Formats without alpha are left untouched by the alpha setters.
#include <cstdint>

#include <kernel/Bitmap.h>
#include <kernel/Export.h>

namespace Kernel {

// Sets the alpha of every pixel in the bitmap's clip rectangle to alpha
// (widened x 257 for 16-bit channels); colour channels are not touched.
NK_API void SetAlpha(CBaseBitmap* bitmap, uint8_t alpha);
// Sets the alpha of the clip pixels from bits: one byte per clip pixel, rows
// of the clip's width, top row first.
NK_API void SetAlphaBits(CBaseBitmap* bitmap, const uint8_t* bits);

}  // namespace Kernel
