#include <kernel/PixelFormat.h>

#include <cctype>
#include <cstring>

#include <kernel/Bitmap.h>

namespace Kernel {

const wchar_t* const EnumTraits<ColourOrder::Type>::c_names[] = {L"Rgb",  L"Bgr",   L"Cmyk",    L"Kymc",
                                                                 L"Mono", L"MonoA", L"Invalid", L""};
const wchar_t* const EnumTraits<BitmapOrigin::Type>::c_names[] = {L"TopLeft", L"BottomLeft", L""};
const wchar_t* const EnumTraits<PixelFormat>::c_names[] = {
    L"I8", L"RGB24", L"XRGB32", L"ARGB32",   L"FRGB32", L"CMYK32", L"0RGB32", L"ARGBPM",
    L"DV", L"I16",   L"ARGB64", L"ARGB64PM", L"XYUV32", L"AYUV32", L"FYUV32", L""};

namespace {

using SF = SupportedFormat;

struct FormatRow {
  SF::Type format;
  const char* name;
  int bitsPerPixel;
  int bitsPerSample;
};

// In the order of the bits, so row i describes format 1 << i.
constexpr FormatRow c_formats[SF::c_count] = {
    {SF::MONO8, "MONO8", 8, 8},        {SF::RGB1, "RGB1", 1, 1},       {SF::RGB2, "RGB2", 2, 2},
    {SF::RGB4, "RGB4", 4, 4},          {SF::RGB8, "RGB8", 8, 8},       {SF::RGB16, "RGB16", 16, 16},
    {SF::RGB24, "RGB24", 24, 8},       {SF::RGB32, "RGB32", 32, 8},    {SF::BGR16, "BGR16", 16, 16},
    {SF::BGR24, "BGR24", 24, 8},       {SF::BGR32, "BGR32", 32, 8},    {SF::CMYK_32, "CMYK_32", 32, 8},
    {SF::CMYKA_40, "CMYKA_40", 40, 8}, {SF::MONO16, "MONO16", 16, 16}, {SF::MONOA16, "MONOA16", 16, 8},
    {SF::MONOA32, "MONOA32", 32, 16},  {SF::RGB48, "RGB48", 48, 16},   {SF::RGB64, "RGB64", 64, 16},
    {SF::BGR48, "BGR48", 48, 16},      {SF::BGR64, "BGR64", 64, 16},   {SF::CMYKA_32_8, "CMYKA_32_8", 32, 8},
};

// The row of a single known format, or null for 0, sets and unknown bits.
const FormatRow* FindRow(SF::Type format) {
  const uint32_t v = format;
  if (v == 0 || (v & (v - 1)) != 0) return nullptr;
  for (const FormatRow& row : c_formats)
    if (row.format == format) return &row;
  return nullptr;
}

bool Shares(SF::Type format, uint32_t mask) { return (static_cast<uint32_t>(format) & mask) != 0; }

// Preference lists, shallow to deep.
constexpr SF::Type c_bgrList[] = {SF::RGB1,  SF::RGB2,  SF::RGB4,  SF::RGB8, SF::BGR16,
                                  SF::BGR24, SF::BGR32, SF::BGR48, SF::BGR64};
constexpr SF::Type c_rgbList[] = {SF::RGB1,  SF::RGB2,  SF::RGB4,  SF::RGB8, SF::RGB16,
                                  SF::RGB24, SF::RGB32, SF::RGB48, SF::RGB64};
constexpr SF::Type c_cmykList[] = {SF::CMYK_32, SF::CMYKA_40, SF::CMYKA_32_8};
constexpr SF::Type c_monoList[] = {SF::MONO8, SF::MONO16, SF::MONOA16, SF::MONOA32};

// The same format if acceptable, else the nearest deeper member of the list,
// else the nearest shallower one. A wanted format that is not in the list
// starts the walk at the shallowest member.
template <int N>
SF::Type SearchFamily(const SF::Type (&list)[N], SF::Type wanted, uint32_t mask) {
  if (Shares(wanted, mask)) return static_cast<SF::Type>(wanted & mask);
  int start = 0;
  for (int i = 0; i < N; ++i) {
    if (list[i] == wanted) {
      start = i;
      break;
    }
  }
  for (int i = start; i < N; ++i)
    if (Shares(list[i], mask)) return list[i];
  for (int i = start; i >= 0; --i)
    if (Shares(list[i], mask)) return list[i];
  return static_cast<SF::Type>(0);
}

// Same depth in BGR order; below 16 bits the palette formats serve both orders.
SF::Type BgrOfDepth(int bits) {
  switch (bits) {
    case 1:
      return SF::RGB1;
    case 2:
      return SF::RGB2;
    case 4:
      return SF::RGB4;
    case 8:
      return SF::RGB8;
    case 16:
      return SF::BGR16;
    case 24:
      return SF::BGR24;
    case 32:
      return SF::BGR32;
    case 48:
      return SF::BGR48;
    case 64:
      return SF::BGR64;
    default:
      return static_cast<SF::Type>(0);
  }
}

}  // namespace

int BitsPerPixel(SupportedFormat::Type format) {
  const FormatRow* row = FindRow(format);
  return row ? row->bitsPerPixel : -1;
}

int BitsPerSample(SupportedFormat::Type format) {
  const FormatRow* row = FindRow(format);
  return row ? row->bitsPerSample : -1;
}

bool IsBGR(SupportedFormat::Type format) { return Shares(format, FormatFamily::BGR); }
bool IsRGB(SupportedFormat::Type format) { return Shares(format, FormatFamily::RGB); }
bool IsMONO(SupportedFormat::Type format) { return Shares(format, FormatFamily::Mono); }
bool IsCMYK(SupportedFormat::Type format) { return Shares(format, FormatFamily::CMYK); }
bool HasPalette(SupportedFormat::Type format) { return Shares(format, FormatFamily::Palette); }
bool HasAlpha(SupportedFormat::Type format) { return Shares(format, FormatFamily::Alpha); }

ColourOrder::Type GetColourFormat(SupportedFormat::Type format) {
  if (IsBGR(format)) return ColourOrder::Bgr;
  if (IsRGB(format)) return ColourOrder::Rgb;
  if (IsMONO(format)) return ColourOrder::Mono;
  if (IsCMYK(format)) return ColourOrder::Cmyk;
  return static_cast<ColourOrder::Type>(7);
}

bool IsColourFormat(SupportedFormat::Type format, ColourOrder::Type order) {
  switch (order) {
    case ColourOrder::Rgb:
      return IsRGB(format);
    case ColourOrder::Bgr:
      return IsBGR(format);
    case ColourOrder::Cmyk:
      return IsCMYK(format);
    case ColourOrder::Mono:
    case ColourOrder::MonoA:
      return IsMONO(format);
    default:
      return false;
  }
}

SupportedFormat::Type GetTypeFromBitsPerPixel(int bits, ColourOrder::Type order) {
  const SF::Type none = static_cast<SF::Type>(0);
  switch (order) {
    case ColourOrder::Rgb:
      if (bits < 1 || bits > 64) return none;
      switch (bits) {
        case 1:
          return SF::RGB1;
        case 2:
          return SF::RGB2;
        case 4:
          return SF::RGB4;
        case 8:
          return SF::RGB8;
        case 16:
          return SF::RGB16;
        case 24:
          return SF::RGB24;
        case 32:
          return SF::RGB32;
        case 48:
          return SF::RGB48;
        case 64:
          return SF::RGB64;
        default:
          return none;
      }
    case ColourOrder::Bgr:
      if (bits < 1 || bits > 64) return none;
      return BgrOfDepth(bits);
    case ColourOrder::Cmyk:
      if (bits == 32) return SF::CMYK_32;
      if (bits == 40) return SF::CMYKA_40;
      return none;
    case ColourOrder::Mono:
      if (bits == 8) return SF::MONO8;
      if (bits == 16) return SF::MONO16;
      return none;
    case ColourOrder::MonoA:
      // There is no 8-bit grey with alpha; plain grey is the nearest.
      if (bits == 8) return SF::MONO8;
      if (bits == 16) return SF::MONOA16;
      if (bits == 32) return SF::MONOA32;
      return none;
    default:
      return none;
  }
}

SupportedFormat::Type NearestNonAlphaFormat(SupportedFormat::Type format) {
  switch (format) {
    case SF::RGB32:
      return SF::RGB24;
    case SF::BGR32:
      return SF::BGR24;
    case SF::CMYKA_40:
      return SF::CMYK_32;
    case SF::CMYKA_32_8:
      return SF::CMYK_32;
    case SF::MONOA16:
      return SF::MONO8;
    case SF::MONOA32:
      return SF::MONO16;
    case SF::RGB64:
      return SF::RGB48;
    case SF::BGR64:
      return SF::BGR48;
    default:
      return format;
  }
}

SupportedFormat::Type NearestSupportedFormat(SupportedFormat::Type wanted, SupportedFormat::Type acceptable) {
  if (Shares(wanted, acceptable)) return wanted & acceptable;

  // Swap only the channel order, keeping the depth.
  if (IsBGR(wanted)) {
    const SF::Type swapped = GetTypeFromBitsPerPixel(BitsPerPixel(wanted), ColourOrder::Rgb);
    if (Shares(swapped, acceptable)) return swapped;
  }
  if (IsRGB(wanted)) {
    const SF::Type swapped = BgrOfDepth(BitsPerPixel(wanted));
    if (Shares(swapped, acceptable)) return swapped;
  }
  // A grey image goes to an 8-bit palette before anything else.
  if (wanted == SF::MONO8 && Shares(SF::RGB8, acceptable)) return SF::RGB8;

  const uint32_t bgr = acceptable & FormatFamily::BGR;
  const uint32_t rgb = acceptable & FormatFamily::RGB;
  const uint32_t cmyk = acceptable & FormatFamily::CMYK;
  const uint32_t mono = acceptable & FormatFamily::Mono;

  if (IsBGR(wanted) && bgr != 0) return SearchFamily(c_bgrList, wanted, bgr);
  if (IsRGB(wanted) && rgb != 0) return SearchFamily(c_rgbList, wanted, rgb);
  if (IsCMYK(wanted) && cmyk != 0) return SearchFamily(c_cmykList, wanted, cmyk);
  if (IsMONO(wanted) && mono != 0) {
    const SF::Type found = SearchFamily(c_monoList, wanted, mono);
    if (HasAlpha(found) || !HasAlpha(wanted)) return found;
    // The grey match would drop the alpha; a 32-bit colour format keeps it.
    return SearchFamily(c_bgrList, SF::BGR32, bgr);
  }

  // Nothing of the wanted family is acceptable: prefer 32-bit BGR, 32-bit RGB,
  // CMYK and grey, in that order, each searched outward from its usual member.
  if (bgr != 0) return SearchFamily(c_bgrList, SF::BGR32, bgr);
  if (rgb != 0) return SearchFamily(c_rgbList, SF::RGB32, rgb);
  if (cmyk != 0) return SearchFamily(c_cmykList, SF::CMYK_32, cmyk);
  if (mono != 0) return SearchFamily(c_monoList, SF::MONO8, mono);
  return static_cast<SF::Type>(0);
}

BMFORMAT GetBitmapFormat(SupportedFormat::Type format) {
  switch (format) {
    case SF::MONO8:
      return BM_GRAY;
    case SF::RGB24:
      return BM_BGRTRIPLETS;
    case SF::RGB32:
      return BM_xBGRQUADS;
    case SF::BGR24:
      return BM_RGBTRIPLETS;
    case SF::BGR32:
      return BM_xRGBQUADS;
    case SF::CMYK_32:
    case SF::CMYKA_40:
    case SF::CMYKA_32_8:
      return BM_KYMCQUADS;
    case SF::MONO16:
      return BM_16b_GRAY;
    case SF::BGR48:
      return BM_16b_RGB;
    default:
      return BM_NONE;
  }
}

SupportedFormat::Type GetImageTypeFromIterator(PixelIteratorType type) {
  static constexpr SF::Type c_byIterator[] = {static_cast<SF::Type>(0),
                                              SF::MONO8,
                                              SF::RGB1,
                                              SF::RGB2,
                                              SF::RGB4,
                                              SF::RGB8,
                                              SF::RGB16,
                                              SF::RGB24,
                                              SF::RGB32,
                                              SF::BGR16,
                                              SF::BGR24,
                                              SF::BGR32,
                                              SF::CMYK_32,
                                              SF::CMYKA_40,
                                              SF::CMYKA_32_8,
                                              SF::RGB48,
                                              SF::BGR48,
                                              SF::RGB64,
                                              SF::BGR64,
                                              SF::MONO16,
                                              SF::MONOA16,
                                              SF::MONOA32};
  const int i = static_cast<int>(type);
  if (i < 0 || i >= static_cast<int>(sizeof(c_byIterator) / sizeof(c_byIterator[0]))) return static_cast<SF::Type>(0);
  return c_byIterator[i];
}

SupportedFormat::Type GetImageType(const CBaseBitmap* bitmap) {
  if (bitmap == nullptr) return static_cast<SF::Type>(0);
  return GetImageTypeFromIterator(bitmap->GetIteratorType());
}

const char* GetFormatName(SupportedFormat::Type format) {
  const FormatRow* row = FindRow(format);
  return row ? row->name : nullptr;
}

SupportedFormat::Type GetFormatFromName(const char* name) {
  if (name == nullptr) return static_cast<SF::Type>(0);
  for (const FormatRow& row : c_formats) {
    const char* a = row.name;
    const char* b = name;
    while (*a != '\0' && *b != '\0' &&
           std::toupper(static_cast<unsigned char>(*a)) == std::toupper(static_cast<unsigned char>(*b))) {
      ++a;
      ++b;
    }
    if (*a == '\0' && *b == '\0') return row.format;
  }
  return static_cast<SF::Type>(0);
}

}  // namespace Kernel
