#pragma once
// Gradients for the table tests whose samples the tests choose outright, so
// expected lookups follow from hand-picked entries and not from the stop
// arithmetic of the shipped gradients.
#include <cmath>
#include <cstdint>
#include <functional>
#include <utility>
#include <vector>

#include <kernel/Gradient.h>

namespace gradient_test {

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
// (rounded); t is recorded so tests can see where the table sampled.
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
  uint16_t GetSingleValueFixed(double t) const override {
    m_seen.push_back(t);
    return Fixed(m_single(t));
  }
  Kernel::CGradient* Clone() const override { return new CFunctionGradient(*this); }
  const std::vector<double>& Seen() const { return m_seen; }

 private:
  static uint16_t Fixed(double v) { return static_cast<uint16_t>(std::lround(v * 32640.0)); }
  Fn m_single;
  Fn m_channels[4];
  mutable std::vector<double> m_seen;
};

// A quad from four 8.7 channel values.
constexpr uint64_t Quad(uint16_t r, uint16_t g, uint16_t b, uint16_t a) {
  return uint64_t{r} | uint64_t{g} << 16 | uint64_t{b} << 32 | uint64_t{a} << 48;
}

}  // namespace gradient_test
