#pragma once
// Colour models and conversions.
//
// A "colour" is a 32-bit value with red in bits 0-7, green in 8-15 and blue in
// 16-23. Every function here ignores bits 24-31 of its input colours and
// returns them as zero. A "64-bit colour" holds four 16-bit channels: red in
// bits 0-15, green 16-31, blue 32-47 and, where a function says so, alpha in
// 48-63 (otherwise zero).
//
// Ranges of the models:
// - integer HSL/HSV: hue in whole degrees 0..360 (360 is a legal value and is
//   kept when a computation lands on it), the other two 0..255, or 0..65535
//   for the forms that work on 64-bit colours;
// - floating HSL/HSV: hue in degrees [0, 360), the other two in [0, 1];
// - L*a*b* (sRGB primaries, D65 white): L* 0..100, a* and b* unbounded; the
//   functions that produce L*a*b* from RGB round to whole numbers.
//
// The integer code truncates where a division is not exact, and the floating
// HSL/HSV to RGB conversions truncate (not round) when they scale back to
// bytes: stored documents and gradients were produced with exactly this
// arithmetic, and rounding instead would shift their colours by one step.
//
// All functions are pure and thread-safe. CMYK goes through a CMYKMapper that
// the caller supplies (see <kernel/CMYKMapper.h>).
#include <cstdint>

#include <kernel/EnumTraits.h>
#include <kernel/Export.h>
#include <kernel/PixelFormat.h>

namespace Kernel {

class CMYKMapper;

// --- Luminance -------------------------------------------------------------

// (30 R + 59 G + 11 B) / 100, truncated.
NK_API int GetLuminance(uint32_t colour);
NK_API int GetLuminance(int r, int g, int b);

// Moves the three channels so that their luminance becomes `luminance`,
// keeping the hue as far as the 0..255 gamut allows: the channels are shifted
// together, and once the brightest (darkest) one hits the gamut edge the rest
// are pulled towards 255 (0) in proportion. A grey input (r == g == b) is set
// to `luminance` on all three channels as given, even outside 0..255.
NK_API void AdjustLuminosity(int* r, int* g, int* b, int luminance);
// The same on a packed colour (channels repacked as bytes).
NK_API uint32_t AdjustLuminosity(uint32_t colour, int luminance);
// The same on 16-bit channels (0..65535), in unsigned 64-bit arithmetic.
NK_API void AdjustLuminosityRGB64(uint64_t* r, uint64_t* g, uint64_t* b, uint64_t luminance);

// --- Recolouring: map a source pixel onto a target colour ------------------

// The source's luminance L lightens the target: each target channel c becomes
// c + (255 - c) * L / 255. A black source leaves the target alone, a white one
// gives white.
NK_API void Recolour(int r, int g, int b, int* targetR, int* targetG, int* targetB);
// Four inks (c, m, y, k): the source's ink density
// D = min(255, (41 c + 52 m + 6 y + 85 k) / 100) scales each target ink to
// round(value * D / 255) (64-bit product, halves rounded away from zero).
NK_API void Recolour(int c, int m, int y, int k, int* targetC, int* targetM, int* targetY, int* targetK);
// The target's floating hue and saturation with the source's lightness. Only
// the low byte of each argument is read; the targets receive bytes.
NK_API void RecolourViaHsl(int r, int g, int b, int* targetR, int* targetG, int* targetB);
// The source's L* (from its luminance Y alone) with the target's a* and b*,
// back through LabToRGB. Only the low byte of each argument is read.
NK_API void RecolourViaLab(int r, int g, int b, int* targetR, int* targetG, int* targetB);

// Red and blue exchanged: (R << 16) | (G << 8) | B. Bits 24-31 are dropped.
NK_API uint32_t ReverseColour(uint32_t colour);

// --- HSL -------------------------------------------------------------------

// Floating HSL to RGB; each channel is trunc(x * 255), so l = 0.999 with
// s = 0 gives 254, not 255.
NK_API uint32_t HSLToRGB(double h, double s, double l);
// Integer HSL (hue 0..360, s and l 0..255) to RGB.
NK_API uint32_t HSLToRGB(int h, int s, int l);
// Integer HSL on 16-bit channels to a 64-bit colour. Unlike every other 64-bit
// result here, this one carries alpha 0xFFFF in bits 48-63 (even for grey):
// callers rely on it to get an opaque pixel.
NK_API uint64_t HSLToRGB64(int h, int s, int l);

// RGB to floating HSL; the hue is wrapped with fmod, so it lies in [0, 360).
NK_API void RGBToHSL(uint32_t colour, double& h, double& s, double& l);
// RGB to integer HSL. The hue is wrapped into 0..360 by whole turns, so a
// computed 360 stays 360.
NK_API void RGBToHSL(uint32_t colour, int& h, int& s, int& l);
// 64-bit colour to integer HSL on 16-bit channels (alpha ignored).
NK_API void RGB64ToHSL(uint64_t colour, int& h, int& s, int& l);

// The mapper's CMYK-to-RGB result in integer HSL.
NK_API void CMYKToHSL(uint32_t cmyk, int& h, int& s, int& l, CMYKMapper& mapper);
// Integer HSLToRGB, then the mapper's RGB-to-CMYK.
NK_API uint32_t HSLToCMYK(int h, int s, int l, CMYKMapper& mapper);

// --- HSV -------------------------------------------------------------------

NK_API void RGBToHSV(uint32_t colour, double& h, double& s, double& v);
NK_API void RGBToHSV(uint32_t colour, int& h, int& s, int& v);
// 16-bit channels; the floating form tests which channel is the maximum by
// exact comparison.
NK_API void RGB64ToHSV(uint64_t colour, int& h, int& s, int& v);
NK_API void RGB64ToHSV(uint64_t colour, double& h, double& s, double& v);

// Floating HSV to RGB, each channel trunc(x * 255). Hue 360 counts as 0; hues
// outside [0, 360] are wrapped into range first.
NK_API uint32_t HSVToRGB(double h, double s, double v);
// Integer HSV (hue 0..360, s and v 0..255) to RGB, with rounded divisions by 255.
NK_API uint32_t HSVToRGB(int h, int s, int v);
// As the 8-bit forms with 16-bit channels; alpha (bits 48-63) is zero.
NK_API uint64_t HSVToRGB64(double h, double s, double v);
NK_API uint64_t HSVToRGB64(int h, int s, int v);

// --- CIE L*a*b* (sRGB, D65) ------------------------------------------------

// Each of L, a and b is rounded half away from zero to a whole number.
NK_API void RGBToLab(uint32_t colour, double& L, double& a, double& b);
// Out-of-gamut values are clamped to 0..255 per channel.
NK_API uint32_t LabToRGB(double L, double a, double b);
// RGBToLab of the mapper's inks-to-RGB result. The inks are passed as the
// bytes at bits 24-31, 8-15, 16-23 and 0-7 of `cmyk`, in that order.
NK_API void CMYKToLab(uint32_t cmyk, double& L, double& a, double& b, CMYKMapper& mapper);
// LabToRGB, then the mapper's RGB-to-CMYK.
NK_API uint32_t LabToCMYK(double L, double a, double b, CMYKMapper& mapper);

// --- Other helpers ---------------------------------------------------------

// value^gamma, clamped to [0, 1].
NK_API double GammaCorrect(double value, double gamma);
// The colour with its floating HSL lightness multiplied by `factor` (capped at
// 1.0, no lower cap): factors below 1 darken, above 1 lighten.
NK_API uint32_t GetColourShade(uint32_t colour, double factor);
// The hue between two hues: (a + b) / 2 when a <= b, otherwise
// ((a + b + 360) / 2) mod 360. It goes the short way round only when the first
// hue is the larger: MidHue(350, 10) is 0 but MidHue(10, 350) is 180.
NK_API int MidHue(int hue1, int hue2);

// --- Abstract colour -------------------------------------------------------

// A colour held in any model by a class the host derives. The reserved
// operations keep the virtual table layout that derived classes are built
// against; this library never calls them.
class NK_API BaseColour {
 public:
  virtual ~BaseColour();
  virtual void Reserved1() = 0;
  virtual void Reserved2() = 0;
  // True when `other` holds the same colour (`other` may be null).
  virtual bool IsSameColour(const BaseColour* other) const = 0;
  // The colour as a 32-bit RGB colour.
  virtual uint32_t GetRGB() const = 0;
  virtual void Reserved3() = 0;
  // The colour as a packed CMYK value (byte layout of the host's CMYKMapper).
  virtual uint32_t GetCMYK() const = 0;
  virtual void Reserved4() = 0;
  virtual void Reserved5() = 0;
  virtual void Reserved6() = 0;
  // GetCMYK() for ColourOrder::Cmyk, GetRGB() for every other order.
  virtual uint32_t GetColour(ColourOrder::Type order) const;

  // True for the same object; false when `a` is null; otherwise
  // a->IsSameColour(b).
  static bool SameColour(const BaseColour* a, const BaseColour* b);
};

// --- Colour manager --------------------------------------------------------

// The host's colour management. Here it carries the colour-mode enumeration,
// whose text form comes from EnumTraits<IColourManager::ColourMode>.
struct IColourManager {
  enum ColourMode : int { RGB = 0, CMYK = 1 };
};

template <>
struct NK_API EnumTraits<IColourManager::ColourMode> {
  static const wchar_t* const c_names[];
};

}  // namespace Kernel
