// Sampling a gradient into a table, or straight into a caller's buffer.
#include <kernel/GradientTable.h>

#include <kernel/Gradient.h>

#include "GradientTableLookup.h"

namespace Kernel {

using namespace GradientTableDetail;

namespace {

// The 8.7 channels a sample contributes, in table order red, green, blue,
// alpha; channels outside the mask are 0 (colour) or full (alpha).
void SampleQuad(const CGradient* gradient, double t, GradMask mask, int16_t out[4]) {
  const uint64_t quad = gradient->GetQuadValueFixed(t);
  static constexpr GradMask c_channels[4] = {GradMask::Red, GradMask::Green, GradMask::Blue, GradMask::Alpha};
  for (int c = 0; c < 4; ++c) {
    if (HasChannel(mask, c_channels[c]))
      out[c] = ClampEntry(static_cast<int16_t>(static_cast<uint16_t>(quad >> (16 * c))));
    else
      out[c] = static_cast<int16_t>(c == 3 ? CGradientTable::c_fullFixed : 0);
  }
}

int16_t SampleSingle(const CGradient* gradient, double t) {
  return ClampEntry(static_cast<int16_t>(gradient->GetSingleValueFixed(t)));
}

}  // namespace

bool CGradientTable::CreateBytes(const CGradient* gradient, int size) {
  Clear();
  if (!gradient) return false;
  int shift = 0;
  const int count = ModifySize(size, shift);
  m_bytes = new int16_t[count + 1];
  for (int i = 0; i < count; ++i) m_bytes[i] = SampleSingle(gradient, MapPosition(i, count));
  m_bytes[count] = m_bytes[count - 1];
  m_count = count;
  SetMasks();
  return true;
}

bool CGradientTable::CreateDwords(const CGradient* gradient, int size, GradMask mask) {
  Clear();
  if (!gradient) return false;
  if (!m_alphaEnabled) mask = mask & ~GradMask::Alpha;
  int shift = 0;
  const int count = ModifySize(size, shift);
  m_dwords = new int16_t[4 * (count + 1)];
  for (int i = 0; i < count; ++i) SampleQuad(gradient, MapPosition(i, count), mask, m_dwords + 4 * i);
  for (int c = 0; c < 4; ++c) m_dwords[4 * count + c] = m_dwords[4 * (count - 1) + c];
  m_count = count;
  SetMasks();
  return true;
}

void CGradientTable::OutputBytes(const CGradient* gradient, uint8_t* out, int count) const {
  if (!gradient || !out) return;
  for (int i = 0; i < count; ++i)
    out[i] = static_cast<uint8_t>(ToByte(SampleSingle(gradient, MapPosition(i, count))));
}

void CGradientTable::OutputDwords(const CGradient* gradient, uint32_t* out, int count, GradMask mask) const {
  if (!gradient || !out) return;
  if (!m_alphaEnabled) mask = mask & ~GradMask::Alpha;
  for (int i = 0; i < count; ++i) {
    int16_t quad[4];
    SampleQuad(gradient, MapPosition(i, count), mask, quad);
    uint32_t packed = 0;
    for (int c = 0; c < 4; ++c) packed |= static_cast<uint32_t>(ToByte(quad[c])) << (8 * c);
    out[i] = packed;
  }
}

}  // namespace Kernel
