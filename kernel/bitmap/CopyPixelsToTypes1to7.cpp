// Conversion routines for destination types 1,2,3,4,5,6,7: every source type
// against each of them, generated from the skeleton.
#include "CopyPixelsSkeleton.h"

namespace Kernel::convert {

template bool DestLevel<1>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<1>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<2>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<2>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<3>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<3>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<4>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<4>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<5>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<5>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<6>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<6>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<7>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<7>(HGLOBAL, const CBaseBitmap*, const Rects&);

}  // namespace Kernel::convert
