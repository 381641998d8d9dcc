// norvik quantize: a PNG file reduced to an indexed (palette) PNG by the
// octree quantiser, with the palette and the error printed.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <kernel/Exceptions.h>
#include <kernel/Quantizer.h>

#include "Command.h"

namespace {

using namespace Kernel;

int ParseColours(const std::string& text) {
  char* end = nullptr;
  const long value = std::strtol(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || value < 1 || value > 256)
    throw norvik::UsageError("--colours wants a whole number from 1 to 256, got \"" + text + "\"");
  return static_cast<int>(value);
}

int RunQuantize(const norvik::Args& args) {
  std::vector<std::string> files;
  int colours = 0;
  bool dither = false;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--colours" || args[i] == "--colors") {
      if (i + 1 >= args.size()) throw norvik::UsageError(args[i] + " needs a number");
      colours = ParseColours(args[++i]);
    } else if (args[i] == "--dither") {
      dither = true;
    } else if (!args[i].empty() && args[i][0] == '-') {
      throw norvik::UsageError("unknown option " + args[i]);
    } else {
      files.push_back(args[i]);
    }
  }
  if (files.size() != 2 || colours == 0) throw norvik::UsageError("quantize needs IN.png OUT.png --colours N");

  CPtr<CMemoryBitmap> src;
  try {
    src = CMemoryBitmap::LoadPNG(std::filesystem::path(files[0]).wstring().c_str());
  } catch (const CImageFileException& e) {
    throw norvik::Failure(e.what());
  }
  const auto t0 = std::chrono::steady_clock::now();
  CQuantizeResult result;
  try {
    result = QuantizeBitmap(*src, colours, dither);
  } catch (const CMemoryException&) {
    throw norvik::Failure("out of memory quantising " + files[0]);
  }
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
  if (result.palette.empty()) throw norvik::Failure(files[0] + " has no pixels");
  try {
    result.bitmap->SavePNG(std::filesystem::path(files[1]).wstring().c_str());
  } catch (const CImageFileException& e) {
    throw norvik::Failure(e.what());
  }
  for (size_t i = 0; i < result.palette.size(); ++i) {
    const RGBQUAD& e = result.palette[i];
    std::printf("%3zu: #%02X%02X%02X %llu\n", i, e.rgbRed, e.rgbGreen, e.rgbBlue,
                static_cast<unsigned long long>(result.counts[i]));
  }
  std::printf("%s: %d x %d %s -> %zu colours%s in %.1f ms, mean squared error %.3f\n", files[1].c_str(),
              src->GetWidth(), src->GetHeight(), GetFormatName(GetImageType(src.Get())), result.palette.size(),
              dither ? " (dithered)" : "", ms, result.meanSquaredError);
  return 0;
}

}  // namespace

NK_COMMAND("quantize", "quantize IN.png OUT.png --colours N [--dither]",
           "Loads IN.png (any PNG layout), reduces it to at most N colours (1 to 256)\n"
           "with the octree quantiser and saves OUT.png as an 8-bit palette image.\n"
           "--dither spreads each pixel's error to its neighbours (Floyd-Steinberg,\n"
           "alternate rows walked backwards) and maps to the nearest entry.\n"
           "Prints the palette as \"index: #RRGGBB pixels\" and the mean squared\n"
           "error over the red, green and blue channels. Alpha is ignored.\n",
           &RunQuantize);
