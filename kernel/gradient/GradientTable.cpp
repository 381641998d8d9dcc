// Gradient table: sizes, masks, the bias and gain curves, and the scalar
// lookups. Building from a gradient is in GradientTableBuild.cpp, the SSE2
// lookups in GradientTableSimd.cpp.
#include <kernel/GradientTable.h>

#include <cmath>
#include <cstring>
#include <utility>

#include "GradientTableLookup.h"

namespace Kernel {

using namespace GradientTableDetail;

namespace {

int16_t* CopyEntries(const int16_t* from, int entries) {
  if (!from) return nullptr;
  auto* to = new int16_t[entries];
  std::memcpy(to, from, sizeof(int16_t) * static_cast<size_t>(entries));
  return to;
}

uint16_t PositionOf(double t) {
  const double p = std::round(t * c_onePositionD);
  if (!(p > 0)) return 0;  // also NaN
  return p >= c_lastPosition ? c_lastPosition : static_cast<uint16_t>(p);
}

}  // namespace

CGradientTable::CGradientTable() = default;

CGradientTable::~CGradientTable() { Clear(); }

CGradientTable::CGradientTable(const CGradientTable& other) { CopyFrom(other); }

CGradientTable& CGradientTable::operator=(const CGradientTable& other) {
  if (this != &other) {
    Clear();
    CopyFrom(other);
  }
  return *this;
}

CGradientTable::CGradientTable(CGradientTable&& other) noexcept { *this = std::move(other); }

CGradientTable& CGradientTable::operator=(CGradientTable&& other) noexcept {
  if (this != &other) {
    Clear();
    // Everything but the tables is plain data: copy it, then steal the tables.
    int16_t* bytes = std::exchange(other.m_bytes, nullptr);
    int16_t* dwords = std::exchange(other.m_dwords, nullptr);
    const int count = std::exchange(other.m_count, 0);
    CopyFrom(other);
    m_bytes = bytes;
    m_dwords = dwords;
    m_count = count;
    SetMasks();
    other.SetMasks();
  }
  return *this;
}

void CGradientTable::CopyFrom(const CGradientTable& other) {
  std::memcpy(m_vecIndexMask, other.m_vecIndexMask, sizeof m_vecIndexMask);
  std::memcpy(m_vecFractionMask, other.m_vecFractionMask, sizeof m_vecFractionMask);
  std::memcpy(m_vecRound, other.m_vecRound, sizeof m_vecRound);
  m_indexMask = other.m_indexMask;
  m_indexShift = other.m_indexShift;
  m_fractionMask = other.m_fractionMask;
  m_fractionShift = other.m_fractionShift;
  m_count = other.m_count;
  m_bytes = CopyEntries(other.m_bytes, other.m_count + 1);
  m_dwords = CopyEntries(other.m_dwords, 4 * (other.m_count + 1));
  m_bias = other.m_bias;
  m_gain = other.m_gain;
  m_kBias = other.m_kBias;
  m_kGain = other.m_kGain;
  m_kGain2 = other.m_kGain2;
  m_biasEnabled = other.m_biasEnabled;
  m_gainEnabled = other.m_gainEnabled;
  m_alphaEnabled = other.m_alphaEnabled;
  m_reversed = other.m_reversed;
}

int CGradientTable::ModifySize(int n, int& shift) {
  const int even = n & ~1;
  shift = 0;
  if (even < 2) return 1;
  while (shift < c_maxShift && (even >> (shift + 1)) != 0) ++shift;
  return (1 << shift) + 1;
}

void CGradientTable::SetMasks() {
  // s = log2 of the count with its lowest bit cleared: the number of position
  // bits that pick the entry; the other 15 - s bits, moved up to 15 bits, are
  // the fraction between that entry and the next.
  int s = 0;
  const int even = m_count & ~1;
  while (s < c_maxShift && (even >> (s + 1)) != 0) ++s;
  m_indexShift = static_cast<uint16_t>(15 - s);
  m_indexMask = static_cast<uint16_t>((0xFFFFu >> m_indexShift) << m_indexShift);
  m_fractionMask = static_cast<uint16_t>(~m_indexMask);
  m_fractionShift = static_cast<uint16_t>(s);
  for (int lane = 0; lane < 8; ++lane) {
    m_vecIndexMask[lane] = m_indexMask;
    m_vecFractionMask[lane] = m_fractionMask;
    m_vecRound[lane] = 64;
  }
}

void CGradientTable::Clear() {
  delete[] m_bytes;
  delete[] m_dwords;
  m_bytes = nullptr;
  m_dwords = nullptr;
  m_count = 0;
}

// --- Curves ------------------------------------------------------------------

void CGradientTable::SetBias(double b) {
  m_bias = b;
  m_biasEnabled = std::fabs(b - 0.5) > 1e-6;
  if (m_biasEnabled) m_kBias = 1.0 / b - 2.0;
}

double CGradientTable::GetBias() const { return m_bias == 0.0 ? 0.5 : m_bias; }

void CGradientTable::SetGain(double g) {
  m_gain = g;
  m_gainEnabled = std::fabs(g - 0.5) > 1e-6;
  if (m_gainEnabled) {
    m_kGain = 1.0 / (1.0 - g) - 2.0;
    m_kGain2 = 2.0 * m_kGain;
  }
}

double CGradientTable::GetGain() const { return m_gainEnabled ? m_gain : 0.5; }

double CGradientTable::DoBias(double t) const {
  if (!m_biasEnabled) return t;
  const double d = (m_kBias + 1.0) - m_kBias * t;
  // A bias of exactly 0 makes k infinite and d NaN: leave t alone, which is
  // also what GetBias (0.5) suggests.
  if (d == 0.0 || !std::isfinite(d)) return t;
  return t / d;
}

double CGradientTable::DoGain(double t) const {
  if (!m_gainEnabled) return t;
  double num, den;
  if (t < 0.5) {
    num = t;
    den = m_kGain + 1.0 - m_kGain2 * t;
  } else {
    num = m_kGain - (m_kGain2 + 1.0) * t;
    den = m_kGain - 1.0 - m_kGain2 * t;
  }
  if (den == 0.0 || !std::isfinite(den) || !std::isfinite(num)) return t;
  return num / den;
}

double CGradientTable::MapPosition(int i, int count) const {
  // A one-entry table has no spacing; it samples the start.
  double t = count > 1 ? static_cast<double>(i) / (count - 1) : 0.0;
  t = DoBias(t);
  t = DoGain(t);
  return m_reversed ? 1.0 - t : t;
}

// --- Lookups -----------------------------------------------------------------

int16_t CGradientTable::GetByteEntry(int i) const { return m_bytes && i >= 0 && i < m_count ? m_bytes[i] : int16_t{0}; }

int16_t CGradientTable::GetDwordEntry(int i, int channel) const {
  return m_dwords && i >= 0 && i < m_count && channel >= 0 && channel < 4 ? m_dwords[4 * i + channel] : int16_t{0};
}

uint8_t CGradientTable::GetByteValue(uint16_t pos) const {
  if (!m_bytes) return 0;
  pos = LimitPosition(pos);
  const int i = (pos & m_indexMask) >> m_indexShift;
  const auto f = static_cast<int16_t>((pos & m_fractionMask) << m_fractionShift);
  return static_cast<uint8_t>(ToByte(Interpolate(m_bytes[i], m_bytes[i + 1], f)));
}

uint8_t CGradientTable::GetByteValue(double t) const { return GetByteValue(PositionOf(t)); }

uint32_t CGradientTable::GetDwordValue(uint16_t pos) const {
  if (!m_dwords) return 0;
  pos = LimitPosition(pos);
  const int i = (pos & m_indexMask) >> m_indexShift;
  const auto f = static_cast<int16_t>((pos & m_fractionMask) << m_fractionShift);
  const int16_t* a = m_dwords + 4 * i;
  uint32_t packed = 0;
  for (int c = 0; c < 4; ++c) packed |= static_cast<uint32_t>(ToByte(Interpolate(a[c], a[c + 4], f))) << (8 * c);
  return packed;
}

uint32_t CGradientTable::GetDwordValue(double t) const { return GetDwordValue(PositionOf(t)); }

uint8_t CGradientTable::GetStartByteValue() const { return m_bytes ? static_cast<uint8_t>(ToByte(m_bytes[0])) : 0; }

uint8_t CGradientTable::GetEndByteValue() const {
  return m_bytes ? static_cast<uint8_t>(ToByte(m_bytes[m_count - 1])) : 0;
}

uint32_t CGradientTable::GetStartDwordValue() const {
  if (!m_dwords) return 0;
  uint32_t packed = 0;
  for (int c = 0; c < 4; ++c) packed |= static_cast<uint32_t>(ToByte(m_dwords[c])) << (8 * c);
  return packed;
}

uint32_t CGradientTable::GetEndDwordValue() const {
  if (!m_dwords) return 0;
  const int16_t* last = m_dwords + 4 * (m_count - 1);
  uint32_t packed = 0;
  for (int c = 0; c < 4; ++c) packed |= static_cast<uint32_t>(ToByte(last[c])) << (8 * c);
  return packed;
}

}  // namespace Kernel
