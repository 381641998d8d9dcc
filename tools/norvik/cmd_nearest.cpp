// norvik nearest: which acceptable format the catalogue picks for a wanted one.
#include <cstdio>
#include <string>

#include <kernel/PixelFormat.h>

#include "Command.h"

namespace {

Kernel::SupportedFormat::Type ParseFormat(const std::string& name) {
  const Kernel::SupportedFormat::Type f = Kernel::GetFormatFromName(name.c_str());
  if (f == 0) throw norvik::UsageError("unknown format '" + name + "'; 'norvik formats' lists the names");
  return f;
}

int RunNearest(const norvik::Args& args) {
  if (args.size() < 2) throw norvik::UsageError("nearest needs a wanted format and at least one acceptable format");
  const Kernel::SupportedFormat::Type wanted = ParseFormat(args[0]);
  auto acceptable = static_cast<Kernel::SupportedFormat::Type>(0);
  for (size_t i = 1; i < args.size(); ++i) acceptable = acceptable | ParseFormat(args[i]);
  const Kernel::SupportedFormat::Type picked = Kernel::NearestSupportedFormat(wanted, acceptable);
  if (picked == 0) {
    std::printf("none: no acceptable format can represent %s\n", Kernel::GetFormatName(wanted));
    return 1;
  }
  std::printf("%s\n", Kernel::GetFormatName(picked));
  return 0;
}

}  // namespace

NK_COMMAND("nearest", "nearest WANTED ACCEPTABLE...",
           "Prints the acceptable format that NearestSupportedFormat picks for WANTED.\n"
           "Format names are those of 'norvik formats' (case does not matter). Exits\n"
           "with status 1 and prints 'none' when nothing acceptable fits.\n\n"
           "example: norvik nearest MONOA16 MONO8 BGR24   ->  BGR24\n",
           &RunNearest);
