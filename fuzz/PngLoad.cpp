// Arbitrary bytes through the PNG reader: it must either give a bitmap or
// throw CImageFileException, never crash or leak. A bitmap that loads is
// written back and read again, and must come back with the same pixels.
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include <kernel/MemoryBitmap.h>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using Kernel::CMemoryBitmap;
  Kernel::CPtr<CMemoryBitmap> bm;
  try {
    bm = CMemoryBitmap::LoadPNG(data, size);
  } catch (const Kernel::CImageFileException&) {
    return 0;
  }
  if (bm->GetWidth() == 0 || bm->GetHeight() == 0 || bm->GetTotalBytes() > (16 << 20)) return 0;
  const std::vector<uint8_t> again = bm->EncodePNG();
  Kernel::CPtr<CMemoryBitmap> back = CMemoryBitmap::LoadPNG(again.data(), again.size());
  // Packed rows may end inside a byte; only the bits of real pixels count.
  const size_t rowBits = static_cast<size_t>(bm->GetWidth()) * static_cast<size_t>(bm->GetBitsPerPixel());
  const size_t fullBytes = rowBits / 8;
  const unsigned lastMask = (0xFF00u >> (rowBits % 8)) & 0xFFu;
  if (back->GetWidth() != bm->GetWidth() || back->GetHeight() != bm->GetHeight() ||
      back->GetBitsPerPixel() != bm->GetBitsPerPixel())
    std::abort();
  for (int y = 0; y < bm->GetHeight(); ++y) {
    const uint8_t* a = bm->GetBits(CPoint(0, y));
    const uint8_t* b = back->GetBits(CPoint(0, y));
    if (std::memcmp(a, b, fullBytes) != 0) std::abort();
    if (lastMask != 0 && ((a[fullBytes] ^ b[fullBytes]) & lastMask) != 0) std::abort();
  }
  return 0;
}
