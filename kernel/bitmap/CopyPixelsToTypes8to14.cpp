// Conversion routines for destination types 8,9,10,11,12,13,14: every source type
// against each of them, generated from the skeleton.
#include "CopyPixelsSkeleton.h"

namespace Kernel::convert {

template bool DestLevel<8>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<8>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<9>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<9>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<10>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<10>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<11>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DibDestLevel<11>(HGLOBAL, const CBaseBitmap*, const Rects&);
template bool DestLevel<12>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<13>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);
template bool DestLevel<14>(CBaseBitmap*, const CBaseBitmap*, const Rects&, bool);

}  // namespace Kernel::convert
