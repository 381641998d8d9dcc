// Differential fuzzing of the rectangle lists against the banded regions:
// the input is a program of unions and subtractions on small coordinates,
// run on a CRectList and on a region side by side. Afterwards the list must
// be pairwise disjoint and describe exactly the region's area. Raw input is
// also fed to ExtCreateRegion as region data.
#include <kernel/RectList.h>
#include <kernel/Region.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

namespace {

void Check(bool ok) {
  if (!ok) __builtin_trap();
}

bool Meet(const CRect& a, const CRect& b) {
  return a.left < b.right && b.left < a.right && a.top < b.bottom && b.top < a.bottom;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  if (HRGN raw = ExtCreateRegion(nullptr, DWORD(size), reinterpret_cast<const RGNDATA*>(data))) DeleteObject(raw);

  Kernel::CRectList list;
  HRGN model = CreateRectRgn(0, 0, 0, 0);
  HRGN piece = CreateRectRgn(0, 0, 0, 0);
  for (size_t i = 0; i + 5 <= size; i += 5) {
    const uint8_t op = data[i];
    const CRect r(data[i + 1] & 63, data[i + 2] & 63, data[i + 3] & 63, data[i + 4] & 63);
    SetRectRgn(piece, r.left, r.top, r.right, r.bottom);
    const bool empty = r.right <= r.left || r.bottom <= r.top;
    switch (op % 3) {
      case 0:
        list.AddUnion(r);
        if (!empty) CombineRgn(model, model, piece, RGN_OR);
        break;
      case 1:
        list.SubtractUnion(r);
        if (!empty) CombineRgn(model, model, piece, RGN_DIFF);
        break;
      default:
        Check(list.Covers(r) == (!empty && [&] {
                HRGN inside = CreateRectRgn(0, 0, 0, 0);
                CombineRgn(inside, piece, model, RGN_DIFF);
                RECT box;
                const bool none = GetRgnBox(inside, &box) == NULLREGION;
                DeleteObject(inside);
                return none;
              }()));
        break;
    }
  }
  for (size_t a = 0; a < list.size(); ++a) {
    Check(list[a].left < list[a].right && list[a].top < list[a].bottom);
    for (size_t b = a + 1; b < list.size(); ++b) Check(!Meet(list[a], list[b]));
  }
  std::vector<uint8_t> buffer(sizeof(RGNDATAHEADER) + list.size() * sizeof(RECT));
  RGNDATAHEADER header{sizeof(RGNDATAHEADER), RDH_RECTANGLES, DWORD(list.size()), DWORD(list.size() * sizeof(RECT)),
                       RECT{0, 0, 0, 0}};
  std::memcpy(buffer.data(), &header, sizeof header);
  for (size_t k = 0; k < list.size(); ++k)
    std::memcpy(&buffer[sizeof header + k * sizeof(RECT)], &list[k], sizeof(RECT));
  HRGN fromList = ExtCreateRegion(nullptr, DWORD(buffer.size()), reinterpret_cast<const RGNDATA*>(buffer.data()));
  Check(fromList && EqualRgn(fromList, model));
  DeleteObject(fromList);
  DeleteObject(piece);
  DeleteObject(model);
  return 0;
}
