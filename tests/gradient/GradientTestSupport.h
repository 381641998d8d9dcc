#pragma once
// Archive bytes for the gradient tests: built by hand, little-endian, and
// run through real archives.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace gradient_test {

using Bytes = std::vector<BYTE>;

// Appends little-endian fields, so a test spells out a layout field by field.
class Layout {
 public:
  Layout& I32(int32_t v) { return U32(uint32_t(v)); }
  Layout& U32(uint32_t v) {
    for (int i = 0; i < 4; ++i) m_bytes.push_back(BYTE(v >> (8 * i)));
    return *this;
  }
  // A double by its IEEE bit pattern, written out by the caller.
  Layout& Bits(uint64_t bits) {
    for (int i = 0; i < 8; ++i) m_bytes.push_back(BYTE(bits >> (8 * i)));
    return *this;
  }
  // A stop: schema 10, value, position and midpoint bit patterns.
  Layout& Stop(uint32_t value, uint64_t posBits, uint64_t halfBits) {
    return I32(10).U32(value).Bits(posBits).Bits(halfBits);
  }
  Layout& Raw(const Bytes& more) {
    m_bytes.insert(m_bytes.end(), more.begin(), more.end());
    return *this;
  }
  const Bytes& Get() const { return m_bytes; }

 private:
  Bytes m_bytes;
};

// IEEE bit patterns of the doubles the layouts use.
constexpr uint64_t kZero = 0x0000000000000000ull;
constexpr uint64_t kQuarter = 0x3FD0000000000000ull;
constexpr uint64_t kHalf = 0x3FE0000000000000ull;
constexpr uint64_t kThreeQuarters = 0x3FE8000000000000ull;
constexpr uint64_t kOne = 0x3FF0000000000000ull;

// Stores obj (anything with Serialize) and returns the bytes.
template <class T>
Bytes Store(T& obj) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    obj.Serialize(ar);
  }
  const BYTE* p = file.GetBufferPtr();
  return Bytes(p, p + file.GetLength());
}

// Loads obj from bytes; an archive that has bytes left over is reported.
template <class T>
size_t Load(const Bytes& bytes, T& obj) {
  Bytes copy(bytes);
  CMemFile file(copy.empty() ? nullptr : copy.data(), UINT(copy.size()));
  size_t left = 0;
  {
    CArchive ar(&file, CArchive::load);
    obj.Serialize(ar);
    ar.Flush();
    left = size_t(file.GetLength() - file.GetPosition());
  }
  return left;
}

}  // namespace gradient_test
