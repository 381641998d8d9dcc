// norvik formats: the pixel format catalogue as a table.
#include <cstdio>
#include <string>

#include <kernel/PixelFormat.h>

#include "Command.h"

namespace {

std::string Families(Kernel::SupportedFormat::Type f) {
  std::string out;
  const auto add = [&](bool in, const char* name) {
    if (!in) return;
    if (!out.empty()) out += ",";
    out += name;
  };
  add(Kernel::IsRGB(f), "RGB");
  add(Kernel::IsBGR(f), "BGR");
  add(Kernel::IsMONO(f), "mono");
  add(Kernel::IsCMYK(f), "CMYK");
  return out.empty() ? "-" : out;
}

std::string OrderName(Kernel::ColourOrder::Type order) {
  const wchar_t* name = Kernel::EnumName(order);
  if (name == nullptr) return "(none)";
  std::string out;
  for (; *name; ++name) out += static_cast<char>(*name);
  return out;
}

const char* BitmapFormatName(BMFORMAT f) {
  switch (f) {
    case BM_GRAY:
      return "BM_GRAY";
    case BM_BGRTRIPLETS:
      return "BM_BGRTRIPLETS";
    case BM_xBGRQUADS:
      return "BM_xBGRQUADS";
    case BM_RGBTRIPLETS:
      return "BM_RGBTRIPLETS";
    case BM_xRGBQUADS:
      return "BM_xRGBQUADS";
    case BM_KYMCQUADS:
      return "BM_KYMCQUADS";
    case BM_16b_GRAY:
      return "BM_16b_GRAY";
    case BM_16b_RGB:
      return "BM_16b_RGB";
    default:
      return "-";
  }
}

int RunFormats(const norvik::Args& args) {
  if (!args.empty()) throw norvik::UsageError("formats takes no arguments");
  std::printf("%-11s %-9s %4s %6s %-9s %-5s %-7s %-7s %-9s %s\n", "FORMAT", "VALUE", "BITS", "SAMPLE", "FAMILIES",
              "ALPHA", "PALETTE", "ORDER", "NO-ALPHA", "BMFORMAT");
  for (Kernel::SupportedFormat::Type f : Kernel::c_allSupportedFormats) {
    const BMFORMAT bm = Kernel::GetBitmapFormat(f);
    char bmText[40];
    std::snprintf(bmText, sizeof(bmText), "%s (0x%04X)", BitmapFormatName(bm), static_cast<unsigned>(bm));
    std::printf("%-11s 0x%06X  %4d %6d %-9s %-5s %-7s %-7s %-9s %s\n", Kernel::GetFormatName(f),
                static_cast<unsigned>(f), Kernel::BitsPerPixel(f), Kernel::BitsPerSample(f), Families(f).c_str(),
                Kernel::HasAlpha(f) ? "yes" : "no", Kernel::HasPalette(f) ? "yes" : "no",
                OrderName(Kernel::GetColourFormat(f)).c_str(), Kernel::GetFormatName(Kernel::NearestNonAlphaFormat(f)),
                bmText);
  }
  return 0;
}

}  // namespace

NK_COMMAND("formats", "formats",
           "Lists the pixel format catalogue: for every format its bit value, bits per pixel\n"
           "and per sample, the families it belongs to, whether it has alpha or a palette,\n"
           "the colour order it reports, its nearest format without alpha and the\n"
           "colour-management bitmap format it maps to.\n",
           &RunFormats);
