#pragma once
// CIE XYZ, L* and L*u*v* in single precision, for image analysis that wants
// the perceptual channels of 8-bit RGB as separate float planes (segmentation,
// clustering). This is deliberately its own small family with its own, shorter
// matrix constants: it is not the double-precision L*a*b* code of Colour.h and
// the two do not give the same numbers.
//
// RGB inputs are channel values 0..255 held in floats (sRGB, D65). A colour
// value is the library's 32-bit colour: red in bits 0-7, green 8-15, blue
// 16-23; bits 24-31 are ignored on input and zero on output. A pixel's
// L*u*v* is three consecutive floats L, u, v. A range record is six floats:
// minimum L, maximum L, minimum u, maximum u, minimum v, maximum v.
#include <cstdint>

#include <kernel/Export.h>

namespace Kernel {

class CBaseBitmap;

class NK_API RGBLUVConversions {
 public:
  // Reference white chromaticity used for u* and v*.
  static constexpr float c_whiteU = 0.19783981f;
  static constexpr float c_whiteV = 0.46833628f;

  // In place: r, g, b (0..255) become X, Y, Z (white has Y = 1).
  static void RGBtoXYZ(float& r, float& g, float& b);
  // In place: X, Y, Z become r, g, b, clamped to 0..255 but not rounded. A
  // channel that is not a number comes out as 0.
  static void XYZtoRGB(float& x, float& y, float& z);
  // L* (0..100) of r, g, b.
  static void RGBtoL(float r, float g, float b, float& L);
  // L*u*v* of r, g, b. Black has no chromaticity; it takes u' = 4, v' = 0.6
  // (not the white point), which L* = 0 turns into u*, v* close to zero.
  static void RGBtoLUV(float r, float g, float b, float& L, float& u, float& v);
  // As above for a colour value; writes luv[0..2].
  static void RGBtoLUV(uint32_t colour, float* luv);
  // The colour value of luv[0..2]: each channel rounded half away from zero,
  // below 0 gives 0, and 255 or more gives 254, so the top value 255 is never
  // produced (white comes back as 254, 254, 254). L = 0 divides by zero;
  // callers keep L above zero.
  static uint32_t LUVtoRGB(const float* luv);

  // --- Whole bitmaps ----------------------------------------------------
  // Every pixel of the bitmap (its clip rectangle is ignored), of any pixel
  // format, is read as 8-bit RGB the way CopyPixels converts it to 32-bit
  // RGB (palette entries for indexed formats, inks for CMYK, grey repeated,
  // the high byte of 16-bit channels) and converted. Records are written
  // consecutively, one per pixel, top row first, left to right. A null
  // bitmap or buffer, an unknown format or a bitmap without pixels writes
  // nothing (ranges included).

  // Three floats per pixel into out (width x height x 3). When ranges is not
  // null it receives the range record of the values before normalisation.
  // With normalise set every value x of a channel becomes
  // (x - min) / (max - min) of that channel; a constant channel divides zero
  // by zero and gives NaN, left as the float arithmetic gives it.
  static void ConvertRGBtoLUV(CBaseBitmap* bitmap, float* out, bool normalise, float* ranges);
  // One L* per pixel into out (width x height), normalised as above when asked.
  static void ConvertRGBToL(CBaseBitmap* bitmap, float* out, bool normalise);
  // One byte per pixel into out (width x height): L* 0..100 scaled to 0..255,
  // that is L x 255 / 100 rounded half away from zero and clamped to 0..255
  // (L 50 gives 128, white 255, black 0).
  static void ConvertRGBToL(CBaseBitmap* bitmap, uint8_t* out);
  // Sets every pixel from three floats per pixel (same order as above)
  // through LUVtoRGB, converted to the bitmap's format as CopyPixels would
  // (nearest palette entry for indexed formats). Alpha, where the format
  // has it, is kept at 8-bit precision; a separate alpha plane is untouched.
  static void ConvertLUVtoRGB(CBaseBitmap* bitmap, const float* in);
};

}  // namespace Kernel
