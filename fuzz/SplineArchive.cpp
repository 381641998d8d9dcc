// Loads splines from arbitrary archive bytes: damaged counts and short data
// must end in an archive exception, never in a crash or an allocation sized
// by the count alone. A spline that loads must evaluate without leaving its
// knots and store back to the bytes it came from.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Spline.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<BYTE> bytes(data, data + size);
  // Start from a spline with knots, so a failed load must release them.
  Kernel::CSpline s;
  s.AddKnot(0, 1);
  s.AddKnot(1, 3);
  s.AddKnot(2, 2);
  try {
    CMemFile file(bytes.empty() ? nullptr : bytes.data(), UINT(bytes.size()));
    CArchive ar(&file, CArchive::load);
    s.Serialize(ar);
  } catch (const CArchiveException&) {
    if (s.GetCount() != 0) __builtin_trap();
    return 0;
  } catch (const CMemoryException&) {
    return 0;
  }
  // Whatever the stored x values are (unsorted, NaN), evaluation stays in
  // the block; the values themselves are not checked.
  const int n = s.GetCount();
  for (int i = 0; i < n && i < 64; ++i) {
    const double x = s.GetX(i);
    volatile double sink = s.CubicInterpolate(x + 0.25) + s.LinearInterpolate(x - 0.25) + s.CubicDerivative(x * 0.5) +
                           s.LinearDerivative(-x);
    (void)sink;
  }
  unsigned char table[16];
  s.CreateTable(table, 16, -1.0, 300.0, 1.0, 0.0);

  // Schema 12 and later store back as what was read (schema 12); older
  // archives lack fields, so there is nothing to compare with.
  int32_t schema = 0;
  if (size >= 4) std::memcpy(&schema, data, 4);
  if (schema < 12) return 0;
  CMemFile out;
  {
    CArchive ar(&out, CArchive::store);
    s.Serialize(ar);
  }
  // The flag byte comes back as 0 or 1; everything after it as it was.
  const size_t stored = size_t(out.GetLength());
  const BYTE* back = out.GetBufferPtr();
  if (stored > size || back[4] != (data[4] != 0) || std::memcmp(back + 5, data + 5, stored - 5) != 0) __builtin_trap();
  return 0;
}
