// norvik colour: one colour shown in every model the library converts to.
#include <cctype>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>

#include <kernel/CMYKMapper.h>
#include <kernel/Colour.h>
#include <kernel/LUV.h>

#include "Command.h"

namespace {

int HexDigit(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  return -1;
}

uint32_t ParseHex(const std::string& digits, const std::string& value) {
  uint32_t v = 0;
  for (char c : digits) {
    const int d = HexDigit(c);
    if (d < 0) throw norvik::UsageError("'" + value + "' has a character that is not a hexadecimal digit");
    v = v * 16 + static_cast<uint32_t>(d);
  }
  return v;
}

// One decimal channel 0..255.
int ParseChannel(const std::string& text, const std::string& value) {
  if (text.empty() || text.size() > 3)
    throw norvik::UsageError("'" + value + "': each of r,g,b is a whole number 0..255");
  int v = 0;
  for (char c : text) {
    if (!std::isdigit(static_cast<unsigned char>(c)))
      throw norvik::UsageError("'" + value + "': each of r,g,b is a whole number 0..255");
    v = v * 10 + (c - '0');
  }
  if (v > 255) throw norvik::UsageError("'" + value + "': " + text + " is above 255");
  return v;
}

// The colour value (red in bits 0-7) of #RRGGBB, r,g,b or 0xBBGGRR.
uint32_t ParseColour(const std::string& value) {
  if (value.size() == 7 && value[0] == '#') {
    const uint32_t rgb = ParseHex(value.substr(1), value);
    return ((rgb >> 16) & 255u) | (rgb & 0xFF00u) | ((rgb & 255u) << 16);
  }
  if (value.size() > 2 && value[0] == '0' && (value[1] == 'x' || value[1] == 'X')) {
    if (value.size() > 8)
      throw norvik::UsageError("'" + value + "': a colour value has at most six hexadecimal digits");
    return ParseHex(value.substr(2), value);
  }
  const size_t c1 = value.find(','), c2 = c1 == std::string::npos ? c1 : value.find(',', c1 + 1);
  if (c2 != std::string::npos && value.find(',', c2 + 1) == std::string::npos) {
    const int r = ParseChannel(value.substr(0, c1), value);
    const int g = ParseChannel(value.substr(c1 + 1, c2 - c1 - 1), value);
    const int b = ParseChannel(value.substr(c2 + 1), value);
    return static_cast<uint32_t>(r | (g << 8) | (b << 16));
  }
  throw norvik::UsageError("cannot read the colour '" + value + "'; write #RRGGBB, r,g,b or 0xBBGGRR");
}

int RunColour(const norvik::Args& args) {
  std::string value, profile;
  bool haveValue = false, haveProfile = false;
  for (size_t i = 0; i < args.size(); ++i) {
    if (args[i] == "--cmyk-profile") {
      if (i + 1 >= args.size()) throw norvik::UsageError("--cmyk-profile needs a file name");
      if (haveProfile) throw norvik::UsageError("--cmyk-profile given twice");
      profile = args[++i];
      haveProfile = true;
    } else if (args[i].size() > 1 && args[i][0] == '-' && args[i][1] == '-') {
      throw norvik::UsageError("unknown option " + args[i]);
    } else {
      if (haveValue) throw norvik::UsageError("colour takes one colour value, got a second: " + args[i]);
      value = args[i];
      haveValue = true;
    }
  }
  if (!haveValue) throw norvik::UsageError("colour needs a colour value, e.g. #FF8000 or 255,128,0");
  const uint32_t colour = ParseColour(value);

  std::unique_ptr<Kernel::CMYKMapper> mapper;
  std::string mapperName = "plain device-independent conversion";
  if (haveProfile) {
    try {
      auto lcms = std::make_unique<Kernel::CLcmsCMYKMapper>(std::filesystem::path(profile).wstring().c_str());
      const CString description = lcms->GetProfileDescription();
      mapperName = "ICC profile " + profile;
      if (!description.IsEmpty()) mapperName += " (" + std::string(CStringA(description).GetString()) + ")";
      mapper = std::move(lcms);
    } catch (const CException& e) {
      throw norvik::UsageError(e.what());
    }
  } else {
    mapper = std::make_unique<Kernel::CPlainCMYKMapper>();
  }

  const unsigned r = colour & 255u, g = (colour >> 8) & 255u, b = (colour >> 16) & 255u;
  std::printf("RGB           %u, %u, %u   #%02X%02X%02X   colour value 0x%06X (red in the low byte)\n", r, g, b, r, g,
              b, colour);
  int ih, is, il;
  Kernel::RGBToHSL(colour, ih, is, il);
  std::printf("HSL (int)     h %d  s %d  l %d   (hue 0..360, s and l 0..255)\n", ih, is, il);
  double dh, ds, dl;
  Kernel::RGBToHSL(colour, dh, ds, dl);
  std::printf("HSL (double)  h %.4f  s %.6f  l %.6f\n", dh, ds, dl);
  Kernel::RGBToHSV(colour, ih, is, il);
  std::printf("HSV (int)     h %d  s %d  v %d\n", ih, is, il);
  Kernel::RGBToHSV(colour, dh, ds, dl);
  std::printf("HSV (double)  h %.4f  s %.6f  v %.6f\n", dh, ds, dl);
  double L, a, bb;
  Kernel::RGBToLab(colour, L, a, bb);
  std::printf("L*a*b*        %.0f, %.0f, %.0f   (sRGB, D65)\n", L, a, bb);
  float luv[3];
  Kernel::RGBLUVConversions::RGBtoLUV(colour, luv);
  std::printf("L*u*v*        %.2f, %.2f, %.2f   (single precision, sRGB)\n", luv[0], luv[1], luv[2]);
  std::printf("luminance     %d\n", Kernel::GetLuminance(colour));
  const uint32_t cmyk = mapper->RGBToCMYK(colour);
  const uint32_t back = mapper->CMYKToRGB(cmyk);
  std::printf("CMYK          C %u  M %u  Y %u  K %u   packed 0x%08X   back to RGB %u, %u, %u\n", cmyk & 255u,
              (cmyk >> 8) & 255u, (cmyk >> 16) & 255u, cmyk >> 24, cmyk, back & 255u, (back >> 8) & 255u,
              (back >> 16) & 255u);
  std::printf("              through the %s\n", mapperName.c_str());
  return 0;
}

}  // namespace

NK_COMMAND("colour", "colour VALUE [--cmyk-profile FILE.icc]",
           "Shows one colour in every model: RGB, integer and floating HSL and HSV,\n"
           "CIE L*a*b* (sRGB, D65), L*u*v*, luminance and CMYK.\n\n"
           "VALUE is one of:\n"
           "  #RRGGBB   hexadecimal, red first, as on the web       #FF8000\n"
           "  r,g,b     three decimal channels 0..255               255,128,0\n"
           "  0xBBGGRR  the library's 32-bit colour value, red in\n"
           "            the LOW byte (so blue is written first)     0x0080FF\n"
           "All three examples are the same orange.\n\n"
           "CMYK goes through the plain device-independent mapper (K = 255 - max),\n"
           "or, with --cmyk-profile, through Little CMS between sRGB and the given\n"
           "CMYK ICC profile (for example\n"
           "/usr/share/color/icc/ghostscript/default_cmyk.icc). The packed CMYK value\n"
           "holds cyan in bits 0-7, magenta 8-15, yellow 16-23 and black 24-31.\n",
           &RunColour);
