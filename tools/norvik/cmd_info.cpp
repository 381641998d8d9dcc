// norvik info: what a PNG file becomes when loaded as a memory bitmap.
#include <cstdio>
#include <string>

#include <kernel/MemoryBitmap.h>

#include "Command.h"

namespace {

std::wstring Widen(const std::string& s) {
  // Paths on the command line are UTF-8; decode them to wide characters.
  std::wstring out;
  for (size_t i = 0; i < s.size();) {
    const auto c = static_cast<unsigned char>(s[i]);
    int extra = c >= 0xF0 ? 3 : c >= 0xE0 ? 2 : c >= 0xC0 ? 1 : 0;
    uint32_t v = extra == 0 ? c : extra == 1 ? c & 0x1F : extra == 2 ? c & 0x0F : c & 0x07;
    ++i;
    for (; extra > 0 && i < s.size(); --extra, ++i) v = (v << 6) | (static_cast<unsigned char>(s[i]) & 0x3F);
    out += static_cast<wchar_t>(v);
  }
  return out;
}

int RunInfo(const norvik::Args& args) {
  if (args.size() != 1) throw norvik::UsageError("info takes one PNG file");
  Kernel::CPtr<Kernel::CMemoryBitmap> bm;
  try {
    bm = Kernel::CMemoryBitmap::LoadPNG(Widen(args[0]).c_str());
  } catch (const Kernel::CImageFileException& e) {
    throw norvik::Failure(e.what());
  }
  const Kernel::SupportedFormat::Type format = Kernel::GetImageType(bm.Get());
  std::printf("file:       %s\n", args[0].c_str());
  std::printf("size:       %d x %d\n", bm->GetWidth(), bm->GetHeight());
  std::printf("format:     %s (%d bits per pixel, %d per sample)\n", Kernel::GetFormatName(format),
              Kernel::BitsPerPixel(format), Kernel::BitsPerSample(format));
  std::printf("stride:     %d bytes (%d of padding)\n", bm->GetBytesPerScanline(), bm->GetScanlinePadding());
  std::printf("total:      %d bytes\n", bm->GetTotalBytes());
  if (bm->GetPaletteSize() > 0) std::printf("palette:    %d entries\n", bm->GetPaletteSize());
  std::printf("resolution: %d x %d dpi\n", bm->GetSafeXResolution(), bm->GetSafeYResolution());
  std::printf("hash:       0x%08X\n", bm->GetHash());
  return 0;
}

}  // namespace

NK_COMMAND("info", "info FILE.png",
           "Loads FILE.png as a memory bitmap and prints its size, pixel format, row\n"
           "stride, byte size, palette, resolution and geometry hash.\n",
           &RunInfo);
