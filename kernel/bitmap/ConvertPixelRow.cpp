// One row between any two types, outside any bitmap: the table of row
// routines, scalar reference and vector-assisted, for every pair.
#include <algorithm>
#include <array>
#include <memory>
#include <utility>

#include <kernel/CopyPixels.h>

#include "ConvertRows.h"
#include "CopyPixelsSkeleton.h"

namespace Kernel {

namespace convert {
namespace {

using RowFn = void (*)(const Ctx&, uint8_t*, uint8_t*, int, const uint8_t*, const uint8_t*, int, int);

struct RowPair {
  RowFn reference;
  RowFn fast;
};

// The row entry the skeleton takes, with ordinary (cached) stores.
template <int DT, bool W, int ST>
void FastRow(const Ctx& c, uint8_t* d, uint8_t* da, int dx, const uint8_t* s, const uint8_t* sa, int sx, int n) {
  ConvertRow<DT, W, ST, W>(c, d, da, dx, s, sa, sx, n, false);
}

template <int DT, bool W, int ST>
constexpr RowPair Entry() {
  if constexpr (DT == 0 || ST == 0) {
    return {nullptr, nullptr};
  } else if constexpr (W && !(HasWide(DT) && HasWide(ST))) {
    return {nullptr, nullptr};
  } else {
    return {&ConvertRowScalar<DT, W, ST, W>, &FastRow<DT, W, ST>};
  }
}

template <int DT, bool W, size_t... S>
constexpr std::array<RowPair, 22> Row(std::index_sequence<S...>) {
  return {{Entry<DT, W, static_cast<int>(S)>()...}};
}

template <bool W, size_t... D>
constexpr std::array<std::array<RowPair, 22>, 22> Table(std::index_sequence<D...>) {
  return {{Row<static_cast<int>(D), W>(std::make_index_sequence<22>{})...}};
}

constexpr auto c_plain = Table<false>(std::make_index_sequence<22>{});
constexpr auto c_wide = Table<true>(std::make_index_sequence<22>{});

}  // namespace
}  // namespace convert

bool ConvertPixelRow(PixelIteratorType dstType, PixelIteratorType srcType, bool wide, void* dst, const void* src,
                     int count, const PALETTEENTRY* srcPalette, int srcPaletteSize, const PALETTEENTRY* dstPalette,
                     int dstPaletteSize, bool reference) {
  if (dstType < 1 || dstType > 21 || srcType < 1 || srcType > 21 || count < 0) return false;
  const convert::RowPair& p =
      (wide ? convert::c_wide : convert::c_plain)[static_cast<size_t>(dstType)][static_cast<size_t>(srcType)];
  if (p.reference == nullptr) return false;
  if (count == 0) return true;
  auto ctx = std::make_unique<convert::Ctx>();
  if (srcPalette != nullptr) {
    for (int i = 0; i < std::min(srcPaletteSize, 256); ++i)
      ctx->src.colours[i] =
          srcPalette[i].peRed | (uint32_t{srcPalette[i].peGreen} << 8) | (uint32_t{srcPalette[i].peBlue} << 16);
  }
  if (dstPalette != nullptr) ctx->dst.Set(dstPalette, std::min(dstPaletteSize, 256));
  // A separate alpha plane is not part of a row here: CMYKA_32_8 rows carry
  // the CMYK words only.
  (reference ? p.reference : p.fast)(*ctx, static_cast<uint8_t*>(dst), nullptr, 0, static_cast<const uint8_t*>(src),
                                     nullptr, 0, count);
  return true;
}

}  // namespace Kernel
