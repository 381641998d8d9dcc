// Conversion routines for destination types 15,16,17,18,19,20,21: every source type
// against each of them, generated from the skeleton.
#include "CopyPixelsSkeleton.h"

namespace Kernel::convert {

template bool DestLevel<15>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<16>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<17>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<18>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<19>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<20>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<21>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);

}  // namespace Kernel::convert
