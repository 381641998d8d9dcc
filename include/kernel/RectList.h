#pragma once
// CRectList: an area described as an ordered list of integer rectangles,
// used for redraw (invalidation) areas, clip regions read back from a
// region, and coverage tests.
//
// Order matters: every scan runs first to last and ties go to the earlier
// rectangle. The union operations keep the rectangles pairwise disjoint and
// never split a rectangle that is already in the list (the incoming one is
// trimmed or split instead); the plain container operations do not check
// anything. Areas are width * height in 32-bit arithmetic and sums wrap
// around at 32 bits, which the merge heuristics rely on.
//
// Nothing here throws except on allocation failure (CMemoryException).
//
// On Linux the window and device bridges of this class (invalidating a
// window's rectangles, reading a device's clipping region) do not exist:
// the platform layer has no windows or device contexts. FromRegion reads
// the library's own regions (<kernel/Region.h>).
#include <kernel/CRect.h>
#include <kernel/Export.h>
#include <kernel/Region.h>

#include <cstddef>
#include <cstdint>
#include <vector>

namespace Kernel {

class NK_API CRectList {
 public:
  using container_type = std::vector<CRect>;
  using value_type = CRect;
  using size_type = std::size_t;
  using iterator = container_type::iterator;
  using const_iterator = container_type::const_iterator;

  CRectList() = default;
  CRectList(const CRectList& other);
  CRectList(CRectList&& other) noexcept = default;
  // A list of one rectangle, also when that rectangle is empty.
  CRectList(const CRect& r);  // NOLINT(google-explicit-constructor): a rectangle is a one-element area
  CRectList& operator=(const CRectList& other);
  CRectList& operator=(CRectList&& other) noexcept = default;
  // A list of exactly one rectangle is overwritten in place; any other list
  // is cleared and gets r appended.
  CRectList& operator=(const CRect& r);
  ~CRectList() = default;

  void swap(CRectList& other) noexcept { m_rects.swap(other.m_rects); }
  void clear() noexcept { m_rects.clear(); }
  bool empty() const noexcept { return m_rects.empty(); }
  size_type size() const noexcept { return m_rects.size(); }
  iterator begin() noexcept { return m_rects.begin(); }
  iterator end() noexcept { return m_rects.end(); }
  const_iterator begin() const noexcept { return m_rects.begin(); }
  const_iterator end() const noexcept { return m_rects.end(); }
  const CRect& operator[](size_type i) const noexcept { return m_rects[i]; }
  iterator insert(const_iterator pos, const CRect& r);
  iterator erase(const_iterator pos) { return m_rects.erase(pos); }
  void push_back(const CRect& r);

  // --- Set operations -----------------------------------------------------
  // Adds the area of r exactly. Rectangles inside r are removed; r is cut
  // where it meets existing rectangles, horizontal cuts first.
  void AddUnion(const CRect& r);
  // Adds every rectangle of other in turn.
  void AddUnion(const CRectList& other);
  // Adds r, or the bounding box of r and the list rectangle it grows least,
  // when the list's total area then stays within max(exact + slack,
  // exact * factor), exact being the current total plus area(r). Trades
  // exactness for fewer rectangles: slack 0 and factor 1.0 merge only when
  // the bounding box adds no area.
  void AddUnionMerge(const CRect& r, int slack, double factor);
  // AddUnionMerge of every rectangle of other, each first clipped to *clip
  // when clip is not null.
  void AddUnionMerge(const CRectList& other, const CRect* clip, int slack, double factor);
  // Adds the gaps between a and b inside the band they span together at
  // the height they share (and the corresponding gaps above and below), so
  // that a, b and the holes form one connected area.
  void AddUnionHoles(const CRect& a, const CRect& b);
  // Removes the area of r. Every rectangle is rebuilt from up to four
  // pieces (above r, left of r, below r, right of r), in place and in that
  // order, including rectangles that do not meet r: a rectangle beside r
  // that straddles its top edge comes back as two pieces.
  void SubtractUnion(const CRect& r);
  void SubtractUnion(const CRectList& other);
  // Intersects every rectangle with r and drops the empty ones, order kept.
  void ClipTo(const CRect& r);

  // --- Queries ------------------------------------------------------------
  // Bounding box of all rectangles; all zeros for an empty list.
  CRect GetBBox() const;
  // Bounding box of the parts of the list inside r.
  CRect Clip(const CRect& r) const;
  // True when some rectangle strictly overlaps r's extent. r itself is not
  // tested for emptiness, so a zero-size r inside a rectangle overlaps it.
  bool Overlaps(const CRect& r) const;
  // True when the list covers every pixel of r; false for an empty r.
  bool Covers(const CRect& r) const;
  // A rectangular part of r that no rectangle touches, found greedily: for
  // each list rectangle meeting the current candidate, the first of the
  // pieces above, below, left and right of it (in that order) with a
  // positive area bigger than any tried before for that rectangle replaces
  // the candidate at once. This is not the largest free part in general.
  // Returns all zeros when a rectangle covers the candidate, r unchanged
  // for an empty list.
  CRect SubtractFrom(const CRect& r) const;
  // The largest width and the largest height, taken separately.
  CSize GetMaxSize() const;

  // --- Platform bridges ---------------------------------------------------
  void OffsetRects(CSize offset);
  // Replaces the list by the rectangles of rgn (its banded form). False,
  // list untouched, when rgn is not a valid region.
  bool FromRegion(HRGN rgn);

 private:
  void AddUnion(CRect r, size_type start);
  bool Covers(const CRect& r, const_iterator from) const;
  int GetTotalArea() const;
  static int GetArea(const CRect& r);
  static void SplitRect(CRect& first, CRect& second, const CRect& r, const CRect& cut);

  container_type m_rects;
};

}  // namespace Kernel
