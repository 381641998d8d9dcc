#include <kernel/CArchive.h>
#include <kernel/Hash.h>

#include <cstring>

namespace Kernel {

uint32_t GetHash(float v) noexcept {
  uint32_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return bits;
}

uint32_t GetHash(double v) noexcept {
  uint64_t bits;
  std::memcpy(&bits, &v, sizeof bits);
  return static_cast<uint32_t>(bits) ^ static_cast<uint32_t>(bits >> 32);
}

uint32_t GetHash(const char* text) noexcept {
  uint32_t h = 0;
  if (!text) return 0;
  for (; *text; ++text) h = h * 34u + static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(*text)));
  return h;
}

uint32_t GetHash(const wchar_t* text) noexcept {
  uint32_t h = 0;
  if (!text) return 0;
  for (; *text; ++text) {
    const uint32_t c = static_cast<uint32_t>(*text);
    if (c >= 0x10000 && c <= 0x10FFFF) {
      const uint32_t v = c - 0x10000;
      h = h * 34u + (0xD800u + (v >> 10));
      h = h * 34u + (0xDC00u + (v & 0x3FF));
    } else {
      h = h * 34u + (c & 0xFFFFu);
    }
  }
  return h;
}

CCachedHash::~CCachedHash() = default;

bool CCachedHash::SetProperties(IClassProperty*) {
  FlushHash();
  return true;
}

bool CCachedHash::GetProperties(IClassProperty*) const { return true; }

void CCachedHash::Serialize(CArchive& ar) {
  if (ar.IsLoading()) FlushHash();
}

}  // namespace Kernel
