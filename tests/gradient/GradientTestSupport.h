#pragma once
// Helpers shared by the gradient tests: archive bytes built by hand
// (little-endian) and run through real archives, spline construction, and
// gradients whose samples the table tests choose outright.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Gradient.h>
#include <kernel/GradientStop.h>
#include <kernel/Spline.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <tuple>
#include <utility>
#include <vector>

namespace gradient_test {

using Bytes = std::vector<BYTE>;

// Appends little-endian fields, so a test spells out a layout field by field.
class Layout {
 public:
  Layout& U8(BYTE v) {
    m_bytes.push_back(v);
    return *this;
  }
  Layout& I32(int32_t v) { return U32(uint32_t(v)); }
  Layout& U32(uint32_t v) { return Bits(v, 4); }
  // A double by its IEEE bit pattern, written out by the caller.
  Layout& Bits(uint64_t bits, int size = 8) {
    for (int i = 0; i < size; ++i) m_bytes.push_back(BYTE(bits >> (8 * i)));
    return *this;
  }
  Layout& F64(double v) {
    uint64_t bits;
    std::memcpy(&bits, &v, 8);
    return Bits(bits);
  }
  Layout& F64s(const std::vector<double>& vs) {
    for (double v : vs) F64(v);
    return *this;
  }
  // A stop: schema 10, value, position and midpoint bit patterns.
  Layout& Stop(uint32_t value, uint64_t posBits, uint64_t halfBits) {
    return I32(10).U32(value).Bits(posBits).Bits(halfBits);
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

// The bytes a storing archive holds after write(ar).
template <class Write>
Bytes Written(Write write) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    write(ar);
  }
  const BYTE* p = file.GetBufferPtr();
  return Bytes(p, p + file.GetLength());
}

// Stores obj (anything with Serialize) and returns the bytes.
template <class T>
Bytes Store(T& obj) {
  return Written([&obj](CArchive& ar) { obj.Serialize(ar); });
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

// Loads obj from bytes that must be refused: the archive exception's cause,
// or -1 when the load went through.
template <class T>
int LoadCause(const Bytes& bytes, T& obj) {
  try {
    Load(bytes, obj);
  } catch (const CArchiveException& e) {
    return e.m_cause;
  }
  return -1;
}

inline Bytes Prefix(const Bytes& bytes, size_t n) { return Bytes(bytes.begin(), bytes.begin() + std::ptrdiff_t(n)); }

inline Kernel::CSpline MakeSpline(const std::vector<double>& x, const std::vector<double>& y, bool linear = false) {
  Kernel::CSpline s;
  s.SetLinear(linear);
  s.Set(x.data(), y.data(), int(x.size()));
  return s;
}

// Count, kind and end slopes, compared exactly.
inline std::tuple<int, bool, double, double> SplineShape(const Kernel::CSpline& s) {
  return {s.GetCount(), s.IsLinear(), s.GetYP1(), s.GetYPN()};
}

// A stop's value, position and midpoint, compared exactly (operator== has
// tolerances), alone or for a whole list.
using StopFields = std::tuple<uint32_t, double, double>;
inline StopFields FieldsOf(const Kernel::CGradientStop& s) {
  return {s.GetDwordValue(), s.GetPos(), s.GetHalfwayPos()};
}
inline std::vector<StopFields> FieldsOf(const Kernel::CGradientStopList& list) {
  std::vector<StopFields> fields;
  for (const Kernel::CGradientStop& s : list) fields.push_back(FieldsOf(s));
  return fields;
}

// The knots as (x, y) pairs.
inline std::vector<std::pair<double, double>> Knots(const Kernel::CSpline& s) {
  std::vector<std::pair<double, double>> knots;
  for (int i = 0; i < s.GetCount(); ++i) knots.emplace_back(s.GetX(i), s.GetY(i));
  return knots;
}

// A quad from four 8.7 channel values.
constexpr uint64_t Quad(uint16_t r, uint16_t g, uint16_t b, uint16_t a) {
  return uint64_t{r} | uint64_t{g} << 16 | uint64_t{b} << 32 | uint64_t{a} << 48;
}

// Answers entry k of its lists at t = k / (n - 1): a table of n entries built
// from it holds exactly those entries. Between sample points the nearest
// entry answers, so a table of another size still samples something defined.
class CSampledGradient : public Kernel::CGradient {
 public:
  CSampledGradient(std::vector<uint16_t> singles, std::vector<uint64_t> quads)
      : m_singles(std::move(singles)), m_quads(std::move(quads)) {}

  uint64_t GetQuadValueFixed(double t) const override {
    return m_quads.empty() ? 0 : m_quads[Nearest(t, m_quads.size())];
  }
  uint16_t GetSingleValueFixed(double t) const override {
    return m_singles.empty() ? 0 : m_singles[Nearest(t, m_singles.size())];
  }
  Kernel::CGradient* Clone() const override { return new CSampledGradient(m_singles, m_quads); }

 private:
  static size_t Nearest(double t, size_t n) {
    const double k = std::round(t * static_cast<double>(n - 1));
    if (!(k > 0)) return 0;
    return k >= static_cast<double>(n - 1) ? n - 1 : static_cast<size_t>(k);
  }
  std::vector<uint16_t> m_singles;
  std::vector<uint64_t> m_quads;
};

// Single value and every channel given as functions of t in 8.7 fixed point
// (rounded).
class CFunctionGradient : public Kernel::CGradient {
 public:
  using Fn = std::function<double(double)>;
  explicit CFunctionGradient(Fn single, Fn red = nullptr, Fn green = nullptr, Fn blue = nullptr, Fn alpha = nullptr)
      : m_single(std::move(single)), m_channels{std::move(red), std::move(green), std::move(blue), std::move(alpha)} {}

  uint64_t GetQuadValueFixed(double t) const override {
    uint64_t quad = 0;
    for (int c = 0; c < 4; ++c)
      if (m_channels[c]) quad |= uint64_t{Fixed(m_channels[c](t))} << (16 * c);
    return quad;
  }
  uint16_t GetSingleValueFixed(double t) const override { return Fixed(m_single(t)); }
  Kernel::CGradient* Clone() const override { return new CFunctionGradient(*this); }

 private:
  static uint16_t Fixed(double v) { return static_cast<uint16_t>(std::lround(v * 32640.0)); }
  Fn m_single;
  Fn m_channels[4];
};

}  // namespace gradient_test
