#pragma once
// Exact nearest palette entry (squared RGB distance, lowest index among
// equals) for arbitrary colours, fast.
//
// RGB space is cut into 32 x 32 x 32 boxes of 8 x 8 x 8 colours. The first
// time a colour falls into a box, the box gets its list of candidates: every
// entry whose nearest point of the box is no farther than the smallest
// "farthest point" distance of any entry. The entry nearest to any colour in
// the box is on that list (it is no farther than that bound from the colour,
// so its distance to the box is within the bound too), and so is every entry
// tied with it; the list keeps palette order, so the first of equals wins.
// A lookup then compares a handful of entries instead of the whole palette.
#include <cstdint>
#include <vector>

#include <kernel/Gdi.h>

namespace Kernel {

class NearestPalette {
 public:
  NearestPalette(const RGBQUAD* palette, int size) : m_size(size), m_boxes(c_boxes, 0) {
    m_entries.reserve(static_cast<size_t>(size));
    for (int i = 0; i < size; ++i)
      m_entries.push_back(Entry{palette[i].rgbRed, palette[i].rgbGreen, palette[i].rgbBlue});
    m_lists.push_back(0);  // offset 0 means "box not built yet"
  }

  // The entry nearest to (r, g, b), each 0..255; 0 for an empty palette.
  int Find(int r, int g, int b) {
    if (m_size == 0) return 0;
    const int box = (r >> 3) << 10 | (g >> 3) << 5 | (b >> 3);
    uint32_t at = m_boxes[static_cast<size_t>(box)];
    if (at == 0) at = Build(box);
    const uint32_t count = m_lists[at];
    int best = -1;
    int bestDistance = 1 << 30;
    for (uint32_t k = 1; k <= count; ++k) {
      const int i = static_cast<int>(m_lists[at + k]);
      const Entry& e = m_entries[static_cast<size_t>(i)];
      const int dr = r - e.r, dg = g - e.g, db = b - e.b;
      const int d = dr * dr + dg * dg + db * db;
      if (d < bestDistance) {
        bestDistance = d;
        best = i;
      }
    }
    return best;
  }

 private:
  struct Entry {
    int r, g, b;
  };
  static constexpr int c_boxes = 32 * 32 * 32;

  // Squared distance from v to the interval [lo, lo + 7]: nearest and farthest.
  static int Near(int v, int lo) {
    const int d = v < lo ? lo - v : (v > lo + 7 ? v - lo - 7 : 0);
    return d * d;
  }
  static int Far(int v, int lo) {
    const int d = v - lo > lo + 7 - v ? v - lo : lo + 7 - v;
    return d * d;
  }

  uint32_t Build(int box) {
    const int r0 = (box >> 10) << 3, g0 = ((box >> 5) & 31) << 3, b0 = (box & 31) << 3;
    int bound = 1 << 30;
    for (const Entry& e : m_entries) {
      const int far = Far(e.r, r0) + Far(e.g, g0) + Far(e.b, b0);
      if (far < bound) bound = far;
    }
    const auto at = static_cast<uint32_t>(m_lists.size());
    m_lists.push_back(0);
    for (int i = 0; i < m_size; ++i) {
      const Entry& e = m_entries[static_cast<size_t>(i)];
      if (Near(e.r, r0) + Near(e.g, g0) + Near(e.b, b0) <= bound) {
        m_lists.push_back(static_cast<uint16_t>(i));
        ++m_lists[at];
      }
    }
    m_boxes[static_cast<size_t>(box)] = at;
    return at;
  }

  int m_size;
  std::vector<Entry> m_entries;
  std::vector<uint32_t> m_boxes;  // offset of each box's list in m_lists
  std::vector<uint32_t> m_lists;  // per list: count, then the entries
};

}  // namespace Kernel
