// norvik convert: a PNG file through CopyPixels into any of the 21 formats,
// saved back as PNG.
#include <chrono>
#include <cstdio>
#include <sstream>

#include "Command.h"
#include "FormatBitmaps.h"

namespace {

using namespace Kernel;

CRect ParseRect(const std::string& text) {
  CRect r;
  char c1 = 0, c2 = 0, c3 = 0;
  std::istringstream in(text);
  if (!(in >> r.left >> c1 >> r.top >> c2 >> r.right >> c3 >> r.bottom) || c1 != ',' || c2 != ',' || c3 != ',' ||
      !in.eof())
    throw norvik::UsageError("--rect wants l,t,r,b, got \"" + text + "\"");
  return r;
}

int RunConvert(const norvik::Args& args) {
  std::vector<std::string> files;
  std::string to, rectText;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--to" && i + 1 < args.size()) {
      to = args[++i];
    } else if (args[i] == "--rect" && i + 1 < args.size()) {
      rectText = args[++i];
    } else if (!args[i].empty() && args[i][0] == '-') {
      throw norvik::UsageError("unknown option " + args[i]);
    } else {
      files.push_back(args[i]);
    }
  }
  if (files.size() != 2 || to.empty()) throw norvik::UsageError("convert needs IN.png OUT.png --to FORMAT");
  const SupportedFormat::Type format = GetFormatFromName(to.c_str());
  if (format == 0) throw norvik::UsageError("unknown format \"" + to + "\"");

  CPtr<CMemoryBitmap> src;
  try {
    src = CMemoryBitmap::LoadPNG(std::filesystem::path(files[0]).wstring().c_str());
  } catch (const CImageFileException& e) {
    throw norvik::Failure(e.what());
  }
  CRect rect = src->GetRect();
  if (!rectText.empty()) {
    rect = ParseRect(rectText);
    rect.NormalizeRect();
    const CRect bounds = src->GetRect();
    if (!rect.IntersectRect(&rect, &bounds)) throw norvik::Failure("--rect lies outside the image");
  }
  auto dst = norvik::MakeBitmap(format, rect.Width(), rect.Height());
  const auto t0 = std::chrono::steady_clock::now();
  if (!TryCopyPixels(dst.Get(), src.Get(), &rect, nullptr)) throw norvik::Failure("the conversion copied nothing");
  const double ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - t0).count();
  try {
    const SupportedFormat::Type saved = norvik::SaveAnyPNG(*dst, files[1]);
    std::printf("%s %dx%d -> %s in %.3f ms, saved as %s\n", GetFormatName(GetImageType(src.Get())), rect.Width(),
                rect.Height(), GetFormatName(format), ms, GetFormatName(saved));
  } catch (const CImageFileException& e) {
    throw norvik::Failure(e.what());
  }
  return 0;
}

}  // namespace

NK_COMMAND("convert", "convert IN.png OUT.png --to FORMAT [--rect l,t,r,b]",
           "Loads IN.png, converts it (or the rectangle l,t,r,b of it) into FORMAT with\n"
           "CopyPixels, and saves the result as OUT.png. FORMAT is any of the 21 pixel\n"
           "formats (MONO8, RGB1 ... RGB64, BGR16 ... BGR64, CMYK_32, CMYKA_40,\n"
           "CMYKA_32_8, MONO16, MONOA16, MONOA32). A format PNG cannot hold (16-bit\n"
           "colour, CMYK) is converted once more to the nearest one it can.\n",
           &RunConvert);
