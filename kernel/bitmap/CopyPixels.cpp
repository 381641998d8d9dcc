// The entry points of the conversion and the destination-level dispatch.
#include <kernel/CopyPixels.h>

#include <array>

#include "CopyPixelsDispatch.h"
#include "CopyPixelsSkeleton.h"

namespace Kernel {

namespace convert {

// Declared here, instantiated in CopyPixelsToTypes*.cpp.
#define NK_EXTERN_DEST(T) extern template bool DestLevel<T>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
#define NK_EXTERN_DIB(T) extern template bool DibDestLevel<T>(HGLOBAL, const CBaseBitmap*, const Rects&);
NK_EXTERN_DEST(1)
NK_EXTERN_DEST(2) NK_EXTERN_DEST(3) NK_EXTERN_DEST(4) NK_EXTERN_DEST(5) NK_EXTERN_DEST(6) NK_EXTERN_DEST(7)
    NK_EXTERN_DEST(8) NK_EXTERN_DEST(9) NK_EXTERN_DEST(10) NK_EXTERN_DEST(11) NK_EXTERN_DEST(12) NK_EXTERN_DEST(13)
        NK_EXTERN_DEST(14) NK_EXTERN_DEST(15) NK_EXTERN_DEST(16) NK_EXTERN_DEST(17) NK_EXTERN_DEST(18)
            NK_EXTERN_DEST(19) NK_EXTERN_DEST(20) NK_EXTERN_DEST(21) NK_EXTERN_DIB(1) NK_EXTERN_DIB(2) NK_EXTERN_DIB(3)
                NK_EXTERN_DIB(4) NK_EXTERN_DIB(5) NK_EXTERN_DIB(6) NK_EXTERN_DIB(7) NK_EXTERN_DIB(8) NK_EXTERN_DIB(9)
                    NK_EXTERN_DIB(10) NK_EXTERN_DIB(11)
#undef NK_EXTERN_DEST
#undef NK_EXTERN_DIB

                        namespace {

  using DestFn = bool (*)(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
  using DibFn = bool (*)(HGLOBAL, const CBaseBitmap*, const Rects&);

  constexpr std::array<DestFn, 22> c_destTable = {
      nullptr,        &DestLevel<1>,  &DestLevel<2>,  &DestLevel<3>,  &DestLevel<4>,  &DestLevel<5>,
      &DestLevel<6>,  &DestLevel<7>,  &DestLevel<8>,  &DestLevel<9>,  &DestLevel<10>, &DestLevel<11>,
      &DestLevel<12>, &DestLevel<13>, &DestLevel<14>, &DestLevel<15>, &DestLevel<16>, &DestLevel<17>,
      &DestLevel<18>, &DestLevel<19>, &DestLevel<20>, &DestLevel<21>};

  constexpr std::array<DibFn, 12> c_dibTable = {
      nullptr,          &DibDestLevel<1>, &DibDestLevel<2>, &DibDestLevel<3>, &DibDestLevel<4>,  &DibDestLevel<5>,
      &DibDestLevel<6>, &DibDestLevel<7>, &DibDestLevel<8>, &DibDestLevel<9>, &DibDestLevel<10>, &DibDestLevel<11>};

  // flags: low byte 1 allows the 16-bit channel views.
  bool Dispatch(CBaseBitmap * dst, const CBaseBitmap* src, const Rects& rects, uint32_t flags) {
    if (dst == nullptr || src == nullptr) return false;
    const int dt = dst->GetIteratorType();
    if (dt < 1 || dt > 21) return false;
    const bool wide = (flags & 0xFF) != 0 && dst->GetBitsPerChannel() == 16 && src->GetBitsPerChannel() == 16;
    return c_destTable[static_cast<size_t>(dt)](dst, src, rects, wide);
  }

}  // namespace
}  // namespace convert

bool TryCopyPixels(CBaseBitmap* dst, const CBaseBitmap* src, const CRect* srcRect, const CRect* dstRect) {
  return convert::Dispatch(dst, src, convert::Rects{srcRect, dstRect}, 1);
}

void CopyPixels(CBaseBitmap* dst, const CBaseBitmap* src, const CRect* srcRect, const CRect* dstRect) {
  convert::Dispatch(dst, src, convert::Rects{srcRect, dstRect}, 1);
}

void CopyPixels(void* packedDib, const CBaseBitmap* src, const CRect* srcRect, const CRect* dstRect) {
  if (packedDib == nullptr || src == nullptr) return;
  const int dt = DIBGetType(packedDib);
  if (dt < 1 || dt > 11) return;
  convert::c_dibTable[static_cast<size_t>(dt)](packedDib, src, convert::Rects{srcRect, dstRect});
}

}  // namespace Kernel
