#pragma once
// Hashes of the basic values, and a mix-in that keeps an object's hash until
// the object changes. Objects compare cached hashes before their contents,
// so these exact functions are part of the library's behaviour: strings use
// the multiplier 34 (not 31 or 33), narrow bytes count as signed.
#include <cstdint>

#include <kernel/CRect.h>
#include <kernel/Export.h>

class CArchive;
class IClassProperty;

namespace Kernel {

// seed ^ ((seed << 6) + (seed >> 2) + v + 0x9E3779B9), in 32 bits.
constexpr uint32_t HashCombine(uint32_t seed, uint32_t v) noexcept {
  return seed ^ ((seed << 6) + (seed >> 2) + v + 0x9E3779B9u);
}

constexpr uint32_t GetHash(bool v) noexcept { return v ? 1u : 0u; }
constexpr uint32_t GetHash(int v) noexcept { return static_cast<uint32_t>(v); }
constexpr uint32_t GetHash(unsigned int v) noexcept { return v; }
NK_API uint32_t GetHash(float v) noexcept;
NK_API uint32_t GetHash(double v) noexcept;
// Low half XOR high half; the unsigned form is also the identity hash of a
// pointer.
constexpr uint32_t GetHash(unsigned long v) noexcept {
  return static_cast<uint32_t>(v) ^ static_cast<uint32_t>(v >> 32);
}
constexpr uint32_t GetHash(unsigned long long v) noexcept {
  return static_cast<uint32_t>(v) ^ static_cast<uint32_t>(v >> 32);
}
// The high half comes from an arithmetic shift.
constexpr uint32_t GetHash(long v) noexcept {
  return static_cast<uint32_t>(v) ^ static_cast<uint32_t>(static_cast<int64_t>(v) >> 32);
}
constexpr uint32_t GetHash(long long v) noexcept {
  return static_cast<uint32_t>(v) ^ static_cast<uint32_t>(static_cast<int64_t>(v) >> 32);
}
inline uint32_t GetHash(const void* p) noexcept {
  return GetHash(static_cast<unsigned long long>(reinterpret_cast<uintptr_t>(p)));
}
// h = h * 34 + c over the bytes, each taken as a signed byte. Null gives 0.
NK_API uint32_t GetHash(const char* text) noexcept;
// The same over the text's UTF-16 units, taken unsigned (characters beyond
// the Basic Multilingual Plane count as their surrogate pair).
NK_API uint32_t GetHash(const wchar_t* text) noexcept;
constexpr uint32_t GetHash(const POINT& p) noexcept { return HashCombine(GetHash(p.x), GetHash(p.y)); }
constexpr uint32_t GetHash(const SIZE& s) noexcept { return HashCombine(GetHash(s.cx), GetHash(s.cy)); }
constexpr uint32_t GetHash(const RECT& r) noexcept {
  return HashCombine(HashCombine(HashCombine(GetHash(r.left), GetHash(r.top)), GetHash(r.right)), GetHash(r.bottom));
}

// Computes an object's hash once and keeps it until FlushHash. A computed 0
// is kept as 1, so a cached hash is never 0 (0 means "not computed").
class NK_API CCachedHash {
 public:
  CCachedHash() noexcept : m_hash(0) {}
  CCachedHash(const CCachedHash&) noexcept : m_hash(0) {}
  // The assigned object's contents changed: it recomputes.
  CCachedHash& operator=(const CCachedHash&) noexcept {
    m_hash = 0;
    return *this;
  }
  virtual ~CCachedHash();

  uint32_t GetHash() const {
    if (m_hash == 0) {
      const uint32_t h = ComputeHash();
      m_hash = h == 0 ? 1 : h;
    }
    return m_hash;
  }
  void FlushHash() const noexcept { m_hash = 0; }

  // Reading properties changes the contents; writing adds nothing.
  bool SetProperties(IClassProperty* bag);
  bool GetProperties(IClassProperty* bag) const;
  // Loading flushes; storing writes nothing.
  void Serialize(CArchive& ar);

 protected:
  virtual uint32_t ComputeHash() const = 0;

 private:
  mutable uint32_t m_hash;
};

}  // namespace Kernel
