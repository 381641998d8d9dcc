#pragma once
// Conversion between any two pixel formats. One routine per pair of iterator
// types (and per pair of 16-bit channel views) is generated from a single
// skeleton; a two-level dispatch picks it from the two bitmaps' types.
//
// The skeleton: both rectangles are normalised as the iterators' clips (null
// is the whole bitmap; a rectangle with both vertical coordinates below 1 is
// mirrored to positive; reversed sides are swapped; the result is cut to the
// bitmap). When both clips address the same pixels nothing is done. A source
// clip wider or taller than the destination clip copies nothing. The source
// is placed at the destination clip's top-left and whatever it does not cover
// inside the destination clip is written as zero pixels.
//
// Per-pixel rules (8-bit channels unless both bitmaps have 16-bit channels,
// when 48/64-bit colour and 16/32-bit grey travel as 16-bit words):
//
// | from -> to                  | rule                                                      |
// |-----------------------------|-----------------------------------------------------------|
// | same type                   | bytes (or palette index) copied as they are               |
// | colour -> grey              | (r + g + b) / 3 truncated (sum x 0x55555556 >> 32)        |
// | grey -> colour              | r = g = b = grey                                          |
// | 16-bit channel, 8-bit view  | read: the high byte; write: the byte x 257                |
// | RGB24 -> RGB32, BGR24 -> BGR32 | bytes in memory order, fourth byte 0                   |
// | RGB24 <-> BGR32 orders differ | red and blue swapped, fourth byte 255                   |
// | other non-alpha -> alpha    | opaque (255, or 65535 in 16-bit channels)                  |
// | alpha -> non-alpha          | alpha dropped                                              |
// | RGB16 (5-6-5)               | red bits 11-15, green 5-10, blue 0-4                       |
// | BGR16 (5-5-5)               | red bits 10-14, green 5-9, blue 0-4, bit 15 zero           |
// | 5/6 bits -> 8               | round(v x 255 / 31) or round(v x 255 / 63)                 |
// | 8 -> 5/6 bits               | round(v x 31 / 255) or round(v x 63 / 255)                 |
// | CMYK -> colour              | r = (255 - c)(255 - k) / 255 rounded ((x*257+256)>>16), g from m, b from y |
// | colour -> CMYK              | k = 255 - max; c = (max - r) x 255 / max rounded; black is k 255 |
// | grey <-> CMYK               | through colour                                             |
// | CMYK <-> CMYK               | inks copied, alpha as above                                |
// | palette source              | the entry's colour, converted as a colour source           |
// | palette destination         | nearest entry by squared RGB distance, first of equals     |
// | uncovered destination       | zero bytes (index 0, black, transparent)                   |
#include <cstdint>

#include <kernel/Bitmap.h>
#include <kernel/Export.h>
#include <kernel/PixelFormat.h>

namespace Kernel {

// Copies srcRect of src into dstRect of dst (null: the whole bitmap).
NK_API void CopyPixels(CBaseBitmap* dst, const CBaseBitmap* src, const CRect* srcRect, const CRect* dstRect);
// The same into a packed device-independent bitmap held in global memory.
NK_API void CopyPixels(void* packedDib, const CBaseBitmap* src, const CRect* srcRect, const CRect* dstRect);
// As CopyPixels(dst, ...), answering whether pixels were copied (or nothing
// needed copying): false for unknown formats and for a source larger than
// the destination.
NK_API bool TryCopyPixels(CBaseBitmap* dst, const CBaseBitmap* src, const CRect* srcRect, const CRect* dstRect);

// Converts count pixels of one row between two iterator types, from src to
// dst, with the palettes given for indexed types (entries red, green, blue,
// flags; ignored otherwise). wide selects the 16-bit channel views (both types
// must have one). reference forces the plain scalar rule instead of the vector
// paths, which give the same bytes. Packed 1/2/4-bit rows start at a byte.
// False for unknown types.
NK_API bool ConvertPixelRow(PixelIteratorType dstType, PixelIteratorType srcType, bool wide, void* dst, const void* src,
                            int count, const PALETTEENTRY* srcPalette, int srcPaletteSize,
                            const PALETTEENTRY* dstPalette, int dstPaletteSize, bool reference = false);

}  // namespace Kernel
