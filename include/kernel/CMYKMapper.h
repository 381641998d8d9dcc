#pragma once
// CMYK colour management.
//
// CMYKMapper is the interface through which the colour functions of
// <kernel/Colour.h> reach CMYK; a host may implement its own. The library
// ships two implementations:
//
// - CPlainCMYKMapper: the device-independent textbook conversion, no ink
//   model, no profile. Cheap, exact inverse pairs for saturated colours.
// - CLcmsCMYKMapper: colour-managed through Little CMS, between sRGB and a
//   CMYK ICC profile that the caller names.
//
// The shipped mappers use one packed CMYK layout, the one the library's 32-bit CMYK
// pixels have in a row word:
//
//   bits 0-7 cyan, 8-15 magenta, 16-23 yellow, 24-31 black (0 = no ink).
//
// The colour functions hand the packed value's bytes to InksToRGB in the order
// bits 24-31, 8-15, 16-23, 0-7; with this layout that is (k, m, y, c), which
// is why the shipped mappers' InksToRGB takes its inks in that order.
#include <cstddef>
#include <cstdint>
#include <memory>

#include <kernel/CString.h>
#include <kernel/Exceptions.h>
#include <kernel/Export.h>

namespace Kernel {

class NK_API CMYKMapper {
 public:
  // A 32-bit colour (red in bits 0-7) to a packed CMYK value.
  virtual uint32_t RGBToCMYK(uint32_t colour) = 0;
  // A packed CMYK value to a 32-bit colour.
  virtual uint32_t CMYKToRGB(uint32_t cmyk) = 0;
  // Four inks, given as the packed value's bytes at bits 24-31, 8-15, 16-23
  // and 0-7, to a 32-bit colour.
  virtual uint32_t InksToRGB(uint8_t ink1, uint8_t ink2, uint8_t ink3, uint8_t ink4) = 0;
  virtual ~CMYKMapper();
};

// Packs four inks into the layout above.
constexpr uint32_t PackCMYK(uint32_t c, uint32_t m, uint32_t y, uint32_t k) {
  return (c & 255u) | ((m & 255u) << 8) | ((y & 255u) << 16) | ((k & 255u) << 24);
}

// Device-independent conversion, with the library's rounded division by 255,
// (v * 257 + 256) >> 16:
//   RGB -> CMYK: K = 255 - max(R, G, B); for max > 0 each of C, M, Y is
//                (max - channel) * 255 / max, rounded to nearest; black is
//                (0, 0, 0, 255).
//   CMYK -> RGB: channel = (255 - ink) * (255 - K) / 255, rounded.
// Every colour survives RGB -> CMYK -> RGB within one step per channel;
// greys and the primaries exactly. Stateless, so safe from any thread.
class NK_API CPlainCMYKMapper final : public CMYKMapper {
 public:
  uint32_t RGBToCMYK(uint32_t colour) override;
  uint32_t CMYKToRGB(uint32_t cmyk) override;
  // Inks in the order the colour functions pass them: black, magenta,
  // yellow, cyan.
  uint32_t InksToRGB(uint8_t k, uint8_t m, uint8_t y, uint8_t c) override;
};

// Raised when a colour profile cannot be used. It is a CFileException (cause
// fileNotFound when the file is missing, invalidFile otherwise) whose message
// names the file and the reason.
class NK_API CColourProfileException : public CFileException {
 public:
  CColourProfileException(int cause, const wchar_t* fileName, const wchar_t* reason);
  CString GetMessage() const override;

  CString m_strReason;
};

// Colour-managed conversion between sRGB (built in) and the CMYK ICC profile
// in `cmykProfile`, with the given ICC rendering intent (0 perceptual,
// 1 relative colorimetric, 2 saturation, 3 absolute colorimetric) and black
// point compensation. Both transforms are created once by the constructor,
// which throws CColourProfileException when the file is missing, is not an ICC
// profile, or does not describe a CMYK colour space, or when the transforms
// cannot be built.
//
// Threads: the conversions only read the transforms, which Little CMS allows
// from several threads at once, so one mapper may be shared by concurrent
// callers; construction and destruction must not race with use.
class NK_API CLcmsCMYKMapper final : public CMYKMapper {
 public:
  enum Intent : int { Perceptual = 0, RelativeColorimetric = 1, Saturation = 2, AbsoluteColorimetric = 3 };

  explicit CLcmsCMYKMapper(const wchar_t* cmykProfile, Intent intent = RelativeColorimetric,
                           bool blackPointCompensation = true);
  ~CLcmsCMYKMapper() override;
  CLcmsCMYKMapper(const CLcmsCMYKMapper&) = delete;
  CLcmsCMYKMapper& operator=(const CLcmsCMYKMapper&) = delete;

  uint32_t RGBToCMYK(uint32_t colour) override;
  uint32_t CMYKToRGB(uint32_t cmyk) override;
  // Black, magenta, yellow, cyan, as the colour functions pass them.
  uint32_t InksToRGB(uint8_t k, uint8_t m, uint8_t y, uint8_t c) override;

  // Many colours at once (far cheaper than one call each): `count` 32-bit
  // colours to packed CMYK values and back. Bits 24-31 of the colours are
  // ignored and returned as zero.
  void RGBToCMYK(const uint32_t* colours, uint32_t* cmyk, size_t count);
  void CMYKToRGB(const uint32_t* cmyk, uint32_t* colours, size_t count);

  // The profile's description text (empty when it has none).
  CString GetProfileDescription() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> m_impl;
};

}  // namespace Kernel
