// Loads matrices from arbitrary archive bytes: damaged counts and short data
// must end in an archive exception, never in a crash or an allocation sized
// by the counts alone. A matrix that loads must store back to the same bytes.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Matrix.h>

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  std::vector<BYTE> bytes(data, data + size);
  Kernel::CMatrix m;
  try {
    CMemFile file(bytes.empty() ? nullptr : bytes.data(), UINT(bytes.size()));
    CArchive ar(&file, CArchive::load);
    m.Serialize(ar);
  } catch (const CArchiveException&) {
    return 0;
  } catch (const CMemoryException&) {
    return 0;
  }
  if (size == 0 || data[0] != 10) return 0;  // older schema: nothing was read
  CMemFile out;
  {
    CArchive ar(&out, CArchive::store);
    m.Serialize(ar);
  }
  const size_t stored = size_t(out.GetLength());
  if (stored > size || std::memcmp(out.GetBufferPtr(), data, stored) != 0) __builtin_trap();
  return 0;
}
