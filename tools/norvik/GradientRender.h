#pragma once
// Drawing a gradient left to right through a gradient table, shared by
// `norvik gradient` and the gradient demo sheet.
#include <cstdint>
#include <cstring>

#include <kernel/Gradient.h>
#include <kernel/GradientTable.h>
#include <kernel/MemoryBitmap.h>

namespace norvik {

// Table entries for drawing: 257 keeps interpolation error below one level
// for any two-stop gradient and costs a few kilobytes.
constexpr int kGradientTableSize = 256;

// Fills area of a 32-bit Bgr bitmap (memory order red, green, blue, alpha:
// the table's packed dword as it lies in memory) with the gradient running
// from the area's left edge to its right edge, sampled at pixel centres.
inline void DrawHorizontal(const Kernel::CGradientTable& table, Kernel::CMemoryBitmap& bm, const CRect& area) {
  const int width = area.Width();
  if (width <= 0) return;
  const int64_t step = (int64_t{1} << 31) / width;
  for (int y = area.top; y < area.bottom; ++y) {
    uint8_t* row = bm.GetBits(CPoint(area.left, y));
    if ((reinterpret_cast<uintptr_t>(row) & 3) == 0) {
      table.GetParallelDwords(step / 2, step, reinterpret_cast<uint32_t*>(row), width);
    } else {
      // Rows of a 32-bit bitmap are 4-byte aligned; this only guards odd layouts.
      for (int x = 0; x < width; ++x) {
        uint32_t v = 0;
        table.GetParallelDwords(step / 2 + step * x, step, &v, 1);
        std::memcpy(row + 4 * x, &v, 4);
      }
    }
  }
}

}  // namespace norvik
