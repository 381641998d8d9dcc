// Quantising a whole bitmap: build the octree from every pixel, take the
// palette, then map every pixel to an entry.
//
// Pixels are read as 32-bit colour values (red in the low byte). A BGR32
// bitmap already holds them in memory (red, green, blue, fourth byte); any
// other format is first converted to BGR32 by CopyPixels, which knows every
// format, palettes and CMYK included.
//
// Speed: runs of identical colours go into the tree in one descent; without
// dithering every leaf carries its palette entry, so a pixel is mapped by one
// walk down its own path, skipped again for a repeat of the previous colour.
#include <kernel/Quantizer.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include <kernel/CopyPixels.h>
#include <kernel/Exceptions.h>
#include <kernel/PixelFormat.h>

#include "NearestPalette.h"

namespace Kernel {

namespace {

// Rows of 32-bit colour values of any bitmap.
class ColourRows {
 public:
  explicit ColourRows(const CBaseBitmap& source) : m_source(source) {
    const int height = source.GetHeight();
    const uint8_t* base = source.GetBitsBase();
    const bool direct = GetImageType(&source) == SupportedFormat::BGR32 && base != nullptr &&
                        reinterpret_cast<uintptr_t>(base) % alignof(uint32_t) == 0 &&
                        source.GetBytesPerScanline() % 4 == 0;
    if (direct || source.GetWidth() == 0 || height == 0) {
      m_direct = true;
      return;
    }
    try {
      m_converted = new CMemoryBitmap(source.GetWidth(), height, 32, ColourOrder::Bgr);
    } catch (const CInvalidArgException&) {
      throw CMemoryException();
    }
    if (!TryCopyPixels(m_converted.Get(), &source, nullptr, nullptr)) throw CInvalidArgException();
  }

  const uint32_t* Row(int y) const {
    const CBaseBitmap& bm = m_direct ? m_source : *m_converted;
    return reinterpret_cast<const uint32_t*>(bm.GetBits(CPoint(0, y)));
  }

 private:
  const CBaseBitmap& m_source;
  bool m_direct = false;
  CPtr<CMemoryBitmap> m_converted;
};

inline int Red(uint32_t c) { return static_cast<int>(c & 0xFF); }
inline int Green(uint32_t c) { return static_cast<int>((c >> 8) & 0xFF); }
inline int Blue(uint32_t c) { return static_cast<int>((c >> 16) & 0xFF); }

inline uint64_t SquaredError(uint32_t colour, const RGBQUAD& entry) {
  const int dr = Red(colour) - entry.rgbRed, dg = Green(colour) - entry.rgbGreen, db = Blue(colour) - entry.rgbBlue;
  return static_cast<uint64_t>(dr * dr + dg * dg + db * db);
}

// The walk of CQuantizer::FindNearestColour over a tree whose indices are
// palette entries, kept here so the per-pixel loop inlines it.
inline uint8_t LeafEntry(const CQuantizer::Node* node, uint32_t colour) {
  const uint32_t r = colour & 0xFF, g = (colour >> 8) & 0xFF, b = (colour >> 16) & 0xFF;
  for (uint32_t shift = 7; node->m_isLeaf == 0; --shift) {
    const CQuantizer::Node* child =
        node->m_child[((r >> shift) & 1u) << 2 | ((g >> shift) & 1u) << 1 | ((b >> shift) & 1u)];
    if (child == nullptr) break;
    node = child;
  }
  return node->m_index;
}

uint64_t MapByTree(const CQuantizer& quantizer, const ColourRows& rows, CMemoryBitmap& out,
                   const std::vector<RGBQUAD>& palette, std::vector<uint64_t>& counts) {
  const int width = out.GetWidth(), height = out.GetHeight();
  const CQuantizer::Node* root = quantizer.GetRoot();
  uint64_t squared = 0;
  for (int y = 0; y < height; ++y) {
    const uint32_t* src = rows.Row(y);
    uint8_t* dst = out.GetBits(CPoint(0, y));
    uint32_t previous = 0xFFFFFFFFu;
    uint8_t entry = 0;
    uint64_t error = 0;
    for (int x = 0; x < width; ++x) {
      const uint32_t c = src[x] & 0xFFFFFFu;
      if (c != previous) {
        previous = c;
        entry = LeafEntry(root, c);
        error = SquaredError(c, palette[entry]);
      }
      dst[x] = entry;
      ++counts[entry];
      squared += error;
    }
  }
  return squared;
}

inline int Clamp255(int v) { return v < 0 ? 0 : (v > 255 ? 255 : v); }

uint64_t MapWithDither(const ColourRows& rows, CMemoryBitmap& out, const std::vector<RGBQUAD>& palette,
                       std::vector<uint64_t>& counts, bool serpentine) {
  const int width = out.GetWidth(), height = out.GetHeight();
  NearestPalette nearest(palette.data(), static_cast<int>(palette.size()));
  // Errors in sixteenths, three channels per pixel, with one spare pixel on
  // each side so the edges need no tests.
  std::vector<int> current(3 * static_cast<size_t>(width + 2)), next(current.size());
  uint64_t squared = 0;
  for (int y = 0; y < height; ++y) {
    const uint32_t* src = rows.Row(y);
    uint8_t* dst = out.GetBits(CPoint(0, y));
    const bool backwards = serpentine && (y & 1) != 0;
    const int step = backwards ? -1 : 1;
    std::fill(next.begin(), next.end(), 0);
    for (int i = 0; i < width; ++i) {
      const int x = backwards ? width - 1 - i : i;
      const uint32_t c = src[x];
      int* e = &current[3 * static_cast<size_t>(x + 1)];
      // Carried error rounds half away from zero.
      const auto carry = [](int sixteenths) {
        return sixteenths >= 0 ? (sixteenths + 8) >> 4 : -((8 - sixteenths) >> 4);
      };
      const int r = Clamp255(Red(c) + carry(e[0]));
      const int g = Clamp255(Green(c) + carry(e[1]));
      const int b = Clamp255(Blue(c) + carry(e[2]));
      const int entry = nearest.Find(r, g, b);
      dst[x] = static_cast<uint8_t>(entry);
      ++counts[static_cast<size_t>(entry)];
      squared += SquaredError(c, palette[static_cast<size_t>(entry)]);
      const int err[3] = {r - palette[static_cast<size_t>(entry)].rgbRed,
                          g - palette[static_cast<size_t>(entry)].rgbGreen,
                          b - palette[static_cast<size_t>(entry)].rgbBlue};
      int* ahead = e + 3 * step;
      int* below = &next[3 * static_cast<size_t>(x + 1)];
      for (int k = 0; k < 3; ++k) {
        ahead[k] += 7 * err[k];
        below[k - 3 * step] += 3 * err[k];
        below[k] += 5 * err[k];
        below[k + 3 * step] += err[k];
      }
    }
    current.swap(next);
  }
  return squared;
}

}  // namespace

CQuantizeResult QuantizeBitmap(const CBaseBitmap& source, int colours, const CQuantizeOptions& options) {
  if (colours < 1 || colours > 256) throw CInvalidArgException();
  if (GetImageType(&source) == 0) throw CInvalidArgException();
  const int width = source.GetWidth(), height = source.GetHeight();
  if (width < 0 || height < 0) throw CInvalidArgException();

  const ColourRows rows(source);
  CQuantizer quantizer(static_cast<uint32_t>(colours), 8);
  {
    // Runs of one colour, also across row ends, go in as one call.
    uint32_t pending = 0;
    uint64_t run = 0;
    for (int y = 0; y < height; ++y) {
      const uint32_t* src = rows.Row(y);
      for (int x = 0; x < width; ++x) {
        const uint32_t c = src[x] & 0xFFFFFFu;
        if (c == pending && run != 0) {
          ++run;
          continue;
        }
        if (run != 0) quantizer.AddColour(pending, 0, run);
        pending = c;
        run = 1;
      }
    }
    if (run != 0) quantizer.AddColour(pending, 0, run);
  }

  CQuantizeResult result;
  const uint32_t leaves = quantizer.GetLeafCount();
  const uint32_t produced = leaves == 0 ? 0 : (colours == 1 ? 1 : std::min<uint32_t>(leaves, colours));
  std::vector<RGBQUAD> table(static_cast<size_t>(colours));
  quantizer.SetColourTable(table.data());
  table.resize(produced);
  quantizer.SetPaletteIndices();

  result.bitmap = new CMemoryBitmap();
  if (!result.bitmap->CreateWithPalette(width, height, 8, table.data(), static_cast<int>(produced), ColourOrder::Rgb,
                                        BitmapOrigin::TopLeft))
    throw CMemoryException();
  result.counts.assign(produced, 0);
  uint64_t squared = 0;
  if (produced != 0 && width != 0 && height != 0) {
    squared = options.dither ? MapWithDither(rows, *result.bitmap, table, result.counts, options.serpentine)
                             : MapByTree(quantizer, rows, *result.bitmap, table, result.counts);
    result.meanSquaredError =
        static_cast<double>(squared) / (3.0 * static_cast<double>(width) * static_cast<double>(height));
  }
  result.palette = std::move(table);
  return result;
}

CQuantizeResult QuantizeBitmap(const CBaseBitmap& source, int colours, bool dither) {
  CQuantizeOptions options;
  options.dither = dither;
  return QuantizeBitmap(source, colours, options);
}

}  // namespace Kernel
