#include <kernel/Gradient.h>

#include <kernel/CArchive.h>
#include <kernel/ClassProperty.h>
#include <kernel/Exceptions.h>

#include "GradientPersist.h"

#include <algorithm>
#include <cmath>

namespace Kernel {

IMPLEMENT_SERIAL(CGradientSpline, CGradient, CGradientSpline::s_nSchema)

namespace {

uint64_t FixedChannel(const CSpline& spline, double t) {
  const double v = std::round(spline.Interpolate(t) * 128);
  if (!(v > 0.0)) return 0;  // also NaN
  if (v >= double(CGradient::c_fixedOne)) return CGradient::c_fixedOne;
  return uint64_t(v);
}

void CheckChannel(int channel) {
  if (channel < 0 || channel >= CGradientSpline::c_channelCount) throw CInvalidArgException();
}

}  // namespace

CGradientSpline::CGradientSpline() = default;

CGradientSpline::CGradientSpline(const CGradientSpline& other) : CGradient(other) {
  std::copy(std::begin(other.m_splines), std::end(other.m_splines), std::begin(m_splines));
}

CGradientSpline& CGradientSpline::operator=(const CGradientSpline& other) {
  if (this != &other) std::copy(std::begin(other.m_splines), std::end(other.m_splines), std::begin(m_splines));
  return *this;
}

CGradientSpline::~CGradientSpline() = default;

uint64_t CGradientSpline::GetQuadValueFixed(double t) const {
  uint64_t quad = 0;
  for (int channel = 0; channel < c_channelCount; ++channel)
    quad |= FixedChannel(m_splines[channel], t) << (16 * channel);
  return quad;
}

uint16_t CGradientSpline::GetSingleValueFixed(double t) const { return uint16_t(FixedChannel(m_splines[0], t)); }

CSpline& CGradientSpline::GetSpline(int channel) {
  CheckChannel(channel);
  return m_splines[channel];
}

const CSpline& CGradientSpline::GetSpline(int channel) const {
  CheckChannel(channel);
  return m_splines[channel];
}

void CGradientSpline::SetSpline(int channel, const CSpline& spline) {
  CheckChannel(channel);
  m_splines[channel] = spline;
}

CGradient* CGradientSpline::Clone() const { return new CGradientSpline(*this); }

bool CGradientSpline::operator==(const CGradientSpline& other) const {
  return std::equal(std::begin(m_splines), std::end(m_splines), std::begin(other.m_splines));
}

bool CGradientSpline::IsEqual(const CGradient& other) const {
  const auto* spline = dynamic_cast<const CGradientSpline*>(&other);
  return spline && CGradient::IsEqual(other) && *this == *spline;
}

void CGradientSpline::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << int(s_nSchema);
    CGradient::Serialize(ar);
    for (CSpline& spline : m_splines) spline.Serialize(ar);
    return;
  }
  int schema = 0;
  ar >> schema;  // one form so far
  CGradient::Serialize(ar);
  CSpline loaded[c_channelCount];
  for (CSpline& spline : loaded) spline.Serialize(ar);
  std::copy(std::begin(loaded), std::end(loaded), std::begin(m_splines));
}

bool CGradientSpline::GetProperties(IClassProperty* bag) const {
  if (!CGradient::GetProperties(bag)) return false;
  bool ok = true;
  for (const CSpline& spline : m_splines) ok = spline.GetProperties(bag->CreateChild(IClassProperty::ITEM_TAG)) && ok;
  return ok;
}

bool CGradientSpline::SetProperties(IClassProperty* bag) {
  if (!CGradient::SetProperties(bag)) return false;
  bool ok = true;
  const std::vector<IClassProperty*> items = ChildrenNamed(bag, IClassProperty::ITEM_TAG);
  const std::size_t count = std::min(items.size(), std::size_t(c_channelCount));
  for (std::size_t channel = 0; channel < count; ++channel)
    if (items[channel]) ok = m_splines[channel].SetProperties(items[channel]) && ok;
  return ok;
}

uint64_t CGradientSpline::Measure() const {
  uint64_t bytes = sizeof(*this) - sizeof(m_splines);
  for (const CSpline& spline : m_splines) bytes += spline.Measure();
  return bytes;
}

}  // namespace Kernel
