#pragma once
// The pixel format catalogue: the enumerations that name a pixel layout and
// the pure functions that answer questions about one (depth, sample size,
// colour order, alpha, palette) or pick, from a set of formats a consumer
// accepts, the one nearest to a wanted format.
#include <cstdint>

#include <kernel/EnumTraits.h>
#include <kernel/Export.h>

namespace Kernel {

class CBaseBitmap;

// One bit per format, so a set of formats is the OR of its members. 0 means
// "no format".
struct SupportedFormat {
  enum Type : uint32_t {
    MONO8 = 0x1,
    RGB1 = 0x2,
    RGB2 = 0x4,
    RGB4 = 0x8,
    RGB8 = 0x10,
    RGB16 = 0x20,
    RGB24 = 0x40,
    RGB32 = 0x80,
    BGR16 = 0x100,
    BGR24 = 0x200,
    BGR32 = 0x400,
    CMYK_32 = 0x800,
    CMYKA_40 = 0x1000,
    MONO16 = 0x2000,
    MONOA16 = 0x4000,
    MONOA32 = 0x8000,
    RGB48 = 0x10000,
    RGB64 = 0x20000,
    BGR48 = 0x40000,
    BGR64 = 0x80000,
    CMYKA_32_8 = 0x100000,
  };
  static constexpr int c_count = 21;
};

// Sets of formats are built with | and tested with &.
constexpr SupportedFormat::Type operator|(SupportedFormat::Type a, SupportedFormat::Type b) {
  return static_cast<SupportedFormat::Type>(static_cast<uint32_t>(a) | static_cast<uint32_t>(b));
}
constexpr SupportedFormat::Type operator&(SupportedFormat::Type a, SupportedFormat::Type b) {
  return static_cast<SupportedFormat::Type>(static_cast<uint32_t>(a) & static_cast<uint32_t>(b));
}

// Every format, in the order of its bit.
inline constexpr SupportedFormat::Type c_allSupportedFormats[SupportedFormat::c_count] = {
    SupportedFormat::MONO8,     SupportedFormat::RGB1,   SupportedFormat::RGB2,    SupportedFormat::RGB4,
    SupportedFormat::RGB8,      SupportedFormat::RGB16,  SupportedFormat::RGB24,   SupportedFormat::RGB32,
    SupportedFormat::BGR16,     SupportedFormat::BGR24,  SupportedFormat::BGR32,   SupportedFormat::CMYK_32,
    SupportedFormat::CMYKA_40,  SupportedFormat::MONO16, SupportedFormat::MONOA16, SupportedFormat::MONOA32,
    SupportedFormat::RGB48,     SupportedFormat::RGB64,  SupportedFormat::BGR48,   SupportedFormat::BGR64,
    SupportedFormat::CMYKA_32_8};

// The fixed family masks every predicate and search tests against.
// CMYKA_32_8 is deliberately outside the CMYK family.
struct FormatFamily {
  static constexpr uint32_t BGR = 0xC071E;
  static constexpr uint32_t RGB = 0x300FE;
  static constexpr uint32_t Mono = 0xE001;
  static constexpr uint32_t CMYK = 0x1800;
  static constexpr uint32_t Alpha = 0x1AD480;
  static constexpr uint32_t Palette = 0x1E;
};

// Channel order or colour model of a bitmap. The pixel enumerations have a
// fixed int representation so that any stored or computed value (such as the
// 7 of GetColourFormat) is a valid value of the type.
struct ColourOrder {
  enum Type : int { Rgb = 0, Bgr = 1, Cmyk = 2, Kymc = 3, Mono = 4, MonoA = 5, Invalid = 6 };
};

// Where the first stored row lies; a BottomLeft bitmap stores its bottom row first.
struct BitmapOrigin {
  enum Type : int { TopLeft = 0, BottomLeft = 1 };
};

// Which pixel iterator walks a bitmap.
enum PixelIteratorType : int {
  PIT_None = 0,
  PIT_MONO8 = 1,
  PIT_RGB1 = 2,
  PIT_RGB2 = 3,
  PIT_RGB4 = 4,
  PIT_RGB8 = 5,
  PIT_RGB16 = 6,
  PIT_RGB24 = 7,
  PIT_RGB32 = 8,
  PIT_BGR16 = 9,
  PIT_BGR24 = 10,
  PIT_BGR32 = 11,
  PIT_CMYK_32 = 12,
  PIT_CMYKA_40 = 13,
  PIT_CMYKA_32_8 = 14,
  PIT_RGB48 = 15,
  PIT_BGR48 = 16,
  PIT_RGB64 = 17,
  PIT_BGR64 = 18,
  PIT_MONO16 = 19,
  PIT_MONOA16 = 20,
  PIT_MONOA32 = 21,
};

}  // namespace Kernel

// The coarse format tag reported to callers outside the library. Only the
// values 0, 1, 2, 3, 9 and 10 are produced here; the others are carried by
// name for the images other parts of the application produce.
enum PixelFormat : int {
  PixelFormat_I8 = 0,
  PixelFormat_RGB24 = 1,
  PixelFormat_XRGB32 = 2,
  PixelFormat_ARGB32 = 3,
  PixelFormat_FRGB32 = 4,
  PixelFormat_CMYK32 = 5,
  PixelFormat_0RGB32 = 6,
  PixelFormat_ARGBPM = 7,
  PixelFormat_DV = 8,
  PixelFormat_I16 = 9,
  PixelFormat_ARGB64 = 10,
  PixelFormat_ARGB64PM = 11,
  PixelFormat_XYUV32 = 12,
  PixelFormat_AYUV32 = 13,
  PixelFormat_FYUV32 = 14,
};

// Colour-management bitmap formats (the values colour engines expect).
// BM_NONE is what GetBitmapFormat answers for a format without a mapping.
enum BMFORMAT : uint32_t {
  BM_x555RGB = 0x0000,
  BM_RGBTRIPLETS = 0x0002,
  BM_BGRTRIPLETS = 0x0004,
  BM_xRGBQUADS = 0x0008,
  BM_16b_RGB = 0x000A,
  BM_xBGRQUADS = 0x0010,
  BM_GRAY = 0x0209,
  BM_KYMCQUADS = 0x0305,
  BM_16b_GRAY = 0x0505,
  BM_NONE = 0xFFFF,
};

namespace Kernel {

template <>
struct NK_API EnumTraits<ColourOrder::Type> {
  static const wchar_t* const c_names[];
};
template <>
struct NK_API EnumTraits<BitmapOrigin::Type> {
  static const wchar_t* const c_names[];
};
template <>
struct NK_API EnumTraits<PixelFormat> {
  static const wchar_t* const c_names[];
};

// Bits per pixel and bits per sample of one format; -1 for 0, for a set of
// several formats and for any unknown value.
NK_API int BitsPerPixel(SupportedFormat::Type format);
NK_API int BitsPerSample(SupportedFormat::Type format);

// True when the argument shares a bit with the family mask, so for a set of
// formats they answer whether the set holds any member of the family.
NK_API bool IsBGR(SupportedFormat::Type format);
NK_API bool IsRGB(SupportedFormat::Type format);
NK_API bool IsMONO(SupportedFormat::Type format);
NK_API bool IsCMYK(SupportedFormat::Type format);
NK_API bool HasPalette(SupportedFormat::Type format);
NK_API bool HasAlpha(SupportedFormat::Type format);

// First family hit in the order BGR, RGB, mono, CMYK; 7 (no order) otherwise.
// The palette formats therefore report Bgr.
NK_API ColourOrder::Type GetColourFormat(SupportedFormat::Type format);
NK_API bool IsColourFormat(SupportedFormat::Type format, ColourOrder::Type order);
NK_API SupportedFormat::Type GetTypeFromBitsPerPixel(int bitsPerPixel, ColourOrder::Type order);
NK_API SupportedFormat::Type NearestNonAlphaFormat(SupportedFormat::Type format);

// The acceptable format nearest to the wanted one, 0 when the acceptable set
// holds nothing usable.
NK_API SupportedFormat::Type NearestSupportedFormat(SupportedFormat::Type wanted, SupportedFormat::Type acceptable);

// RGB24 maps to BM_BGRTRIPLETS and BGR24 to BM_RGBTRIPLETS (and likewise the
// quads): the names count channels from the other end, the bytes agree.
NK_API BMFORMAT GetBitmapFormat(SupportedFormat::Type format);

NK_API SupportedFormat::Type GetImageTypeFromIterator(PixelIteratorType type);
NK_API SupportedFormat::Type GetImageType(const CBaseBitmap* bitmap);

// The enumerator's own spelling ("RGB24", "CMYKA_32_8"), or null for 0, sets
// and unknown values.
NK_API const char* GetFormatName(SupportedFormat::Type format);
// Reverse lookup, ignoring ASCII case; 0 when no format has that name.
NK_API SupportedFormat::Type GetFormatFromName(const char* name);

}  // namespace Kernel
