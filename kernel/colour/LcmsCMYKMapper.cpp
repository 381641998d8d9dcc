// CMYK through Little CMS: sRGB on one side, a caller's CMYK ICC profile on
// the other.
#include <kernel/CMYKMapper.h>

#include <lcms2.h>
#include <sys/stat.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <vector>

#include "platform/Utf.h"

namespace Kernel {

namespace {

// Little CMS reports the reason for a failure through a per-context log
// callback; keeping its last message lets the exception say more than
// "failed".
struct ErrorLog {
  std::string last;
};

void LogError(cmsContext context, cmsUInt32Number, const char* text) {
  auto* log = static_cast<ErrorLog*>(cmsGetContextUserData(context));
  if (log && text) log->last = text;
}

std::wstring Widen(const std::string& s) { return Utf::Utf8ToWide(s.data(), s.size()); }

const char* SpaceName(cmsColorSpaceSignature space) {
  switch (space) {
    case cmsSigRgbData:
      return "RGB";
    case cmsSigGrayData:
      return "grey";
    case cmsSigLabData:
      return "L*a*b*";
    case cmsSigXYZData:
      return "XYZ";
    case cmsSigCmyData:
      return "CMY";
    default:
      return "non-CMYK";
  }
}

// Transforms convert at most this many pixels per call (their count is 32-bit).
constexpr size_t kChunk = size_t{1} << 30;

}  // namespace

struct CLcmsCMYKMapper::Impl {
  ErrorLog log;
  cmsContext context = nullptr;
  cmsHTRANSFORM toCMYK = nullptr;
  cmsHTRANSFORM toRGB = nullptr;
  CString description;

  ~Impl() {
    if (toCMYK) cmsDeleteTransform(toCMYK);
    if (toRGB) cmsDeleteTransform(toRGB);
    if (context) cmsDeleteContext(context);
  }
};

CLcmsCMYKMapper::CLcmsCMYKMapper(const wchar_t* cmykProfile, Intent intent, bool blackPointCompensation)
    : m_impl(std::make_unique<Impl>()) {
  const wchar_t* name = cmykProfile ? cmykProfile : L"";
  const auto fail = [name](int cause, const std::wstring& reason) {
    throw CColourProfileException(cause, name, reason.c_str());
  };
  if (!cmykProfile || !*cmykProfile) fail(CFileException::badPath, L"no file name given");
  if (intent < Perceptual || intent > AbsoluteColorimetric)
    fail(CFileException::genericException, L"unknown rendering intent");

  const std::string path = Utf::WideToUtf8(cmykProfile, std::wcslen(cmykProfile));
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) {
    const int err = errno;
    fail(err == ENOENT ? CFileException::fileNotFound : CFileException::ErrnoToException(err),
         L"cannot open it (" + Widen(std::strerror(err)) + L")");
  }
  if (!S_ISREG(st.st_mode)) fail(CFileException::invalidFile, L"it is not a regular file");

  Impl& impl = *m_impl;
  impl.context = cmsCreateContext(nullptr, &impl.log);
  if (!impl.context) throw CMemoryException();
  cmsSetLogErrorHandlerTHR(impl.context, &LogError);

  const auto lcmsReason = [&impl](const wchar_t* what) {
    std::wstring reason = what;
    if (!impl.log.last.empty()) reason += L" (" + Widen(impl.log.last) + L")";
    return reason;
  };

  cmsHPROFILE cmyk = cmsOpenProfileFromFileTHR(impl.context, path.c_str(), "r");
  if (!cmyk) fail(CFileException::invalidFile, lcmsReason(L"it is not a readable ICC profile"));
  const cmsColorSpaceSignature space = cmsGetColorSpace(cmyk);
  if (space != cmsSigCmykData) {
    cmsCloseProfile(cmyk);
    fail(CFileException::invalidFile,
         L"it describes " + Widen(SpaceName(space)) + L" colours, but a CMYK profile is needed");
  }
  wchar_t text[256] = {};
  if (cmsGetProfileInfo(cmyk, cmsInfoDescription, "en", "US", text, sizeof text / sizeof text[0]) > 0)
    impl.description = text;

  cmsHPROFILE srgb = cmsCreate_sRGBProfileTHR(impl.context);
  // No one-pixel cache: the cache is written by every conversion, and without
  // it the transforms are only read, so concurrent callers may share them.
  cmsUInt32Number flags = cmsFLAGS_NOCACHE;
  if (blackPointCompensation) flags |= cmsFLAGS_BLACKPOINTCOMPENSATION;
  if (srgb) {
    impl.toCMYK = cmsCreateTransformTHR(impl.context, srgb, TYPE_RGBA_8, cmyk, TYPE_CMYK_8,
                                        static_cast<cmsUInt32Number>(intent), flags);
    impl.toRGB = cmsCreateTransformTHR(impl.context, cmyk, TYPE_CMYK_8, srgb, TYPE_RGBA_8,
                                       static_cast<cmsUInt32Number>(intent), flags);
    cmsCloseProfile(srgb);
  }
  cmsCloseProfile(cmyk);
  if (!impl.toCMYK || !impl.toRGB)
    fail(CFileException::invalidFile, lcmsReason(L"no conversion between it and sRGB can be built"));
  // The log only serves construction; conversions may run on several threads
  // at once and must not write to it.
  cmsSetLogErrorHandlerTHR(impl.context, nullptr);
}

CLcmsCMYKMapper::~CLcmsCMYKMapper() = default;

void CLcmsCMYKMapper::RGBToCMYK(const uint32_t* colours, uint32_t* cmyk, size_t count) {
  for (size_t done = 0; done < count; done += kChunk) {
    const size_t n = count - done < kChunk ? count - done : kChunk;
    cmsDoTransform(m_impl->toCMYK, colours + done, cmyk + done, static_cast<cmsUInt32Number>(n));
  }
}

void CLcmsCMYKMapper::CMYKToRGB(const uint32_t* cmyk, uint32_t* colours, size_t count) {
  // The fourth byte of each output colour is not written by the transform.
  std::memset(colours, 0, count * sizeof(uint32_t));
  for (size_t done = 0; done < count; done += kChunk) {
    const size_t n = count - done < kChunk ? count - done : kChunk;
    cmsDoTransform(m_impl->toRGB, cmyk + done, colours + done, static_cast<cmsUInt32Number>(n));
  }
}

uint32_t CLcmsCMYKMapper::RGBToCMYK(uint32_t colour) {
  uint32_t out = 0;
  RGBToCMYK(&colour, &out, 1);
  return out;
}

uint32_t CLcmsCMYKMapper::CMYKToRGB(uint32_t cmyk) {
  uint32_t out = 0;
  CMYKToRGB(&cmyk, &out, 1);
  return out;
}

uint32_t CLcmsCMYKMapper::InksToRGB(uint8_t k, uint8_t m, uint8_t y, uint8_t c) {
  return CMYKToRGB(PackCMYK(c, m, y, k));
}

CString CLcmsCMYKMapper::GetProfileDescription() const { return m_impl->description; }

}  // namespace Kernel
