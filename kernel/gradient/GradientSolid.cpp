#include <kernel/Gradient.h>

#include <kernel/CArchive.h>
#include <kernel/ClassProperty.h>

#include <cmath>
#include <numbers>

namespace Kernel {

IMPLEMENT_SERIAL(CGradientSolid, CGradient, CGradientSolid::s_nSchema)

namespace {

constexpr int kPreSmoothnessSchema = 10;

// Where t falls on one ramp: either a stop whose value holds there (next is
// null), or two neighbouring stops and the eased fraction of the way from
// the first to the second. The fraction depends on positions and midpoint
// only, so it is worked out once for all the channels of the ramp.
struct RampPoint {
  const CGradientStop* prev;
  const CGradientStop* next;
  double eased;
};

RampPoint Locate(const CGradientStopList& stops, double t, int smoothness) {
  auto it = stops.begin();
  if (it->GetPos() > t) return {&*it, nullptr, 0.0};
  // The last stop at or before t; of stops at the same position the later
  // one wins. (A NaN t walks to the end.)
  auto prev = it;
  for (++it; it != stops.end() && !(it->GetPos() > t); ++it) prev = it;
  if (it == stops.end()) return {&*prev, nullptr, 0.0};

  const double f = (t - prev->GetPos()) / (it->GetPos() - prev->GetPos());
  const double h = prev->GetHalfwayPos();
  // Two straight pieces meeting at (h, 0.5): the blend is half done at the
  // midpoint.
  double eased = f < h ? 0.5 * f / h : 0.5 + 0.5 * (f - h) / (1 - h);
  if (smoothness != 0)
    eased = eased + (0.5 + 0.5 * std::sin(std::numbers::pi * (eased - 0.5)) - eased) * smoothness / 100;
  return {&*prev, &*it, eased};
}

// One fixed-point channel between bytes a and b, rounded halves away from
// zero and kept within the channel (a smoothness beyond 0..100 overshoots).
// Only positive values survive the clamp, so the rounding is done on the
// truncated integer and the exact remainder: the same result as
// std::round, without its library call on every channel.
uint64_t Blend(int a, int b, double eased) {
  const double v = (a + (b - a) * eased) * 128;
  if (!(v > 0.0)) return 0;  // also NaN
  if (v >= double(CGradient::c_fixedOne)) return CGradient::c_fixedOne;
  uint64_t whole = uint64_t(v);
  if (v - double(whole) >= 0.5) ++whole;
  return whole;
}

uint64_t Channel(const RampPoint& at, int shift) {
  const int a = int((at.prev->GetDwordValue() >> shift) & 0xFF);
  if (!at.next) return uint64_t(a) << 7;
  return Blend(a, int((at.next->GetDwordValue() >> shift) & 0xFF), at.eased);
}

// Before the first stop whose position is greater, so stops at equal
// positions keep the order in which they came.
void InsertByPosition(CGradientStopList& stops, const CGradientStop& stop) {
  auto it = stops.begin();
  while (it != stops.end() && !(it->GetPos() > stop.GetPos())) ++it;
  stops.insert(it, stop);
}

}  // namespace

CGradientSolid::CGradientSolid() : m_smoothness(c_defaultSmoothness) {}

CGradientSolid::CGradientSolid(uint32_t start, uint32_t end) : CGradientSolid() {
  InsertByPosition(m_rgb, CGradientStop(start, 0.0, 0.5));
  InsertByPosition(m_rgb, CGradientStop(end, 1.0, 0.5));
  InsertByPosition(m_alpha, CGradientStop(uint8_t(start >> 24), 0.0, 0.5));
  InsertByPosition(m_alpha, CGradientStop(uint8_t(end >> 24), 1.0, 0.5));
}

CGradientSolid::CGradientSolid(const CGradientSolid& other)
    : CGradient(other), m_rgb(other.m_rgb), m_alpha(other.m_alpha), m_smoothness(other.m_smoothness) {}

CGradientSolid& CGradientSolid::operator=(const CGradientSolid& other) {
  if (this != &other) {
    m_rgb = other.m_rgb;
    m_alpha = other.m_alpha;
    m_smoothness = other.m_smoothness;
  }
  return *this;
}

CGradientSolid::~CGradientSolid() = default;

uint64_t CGradientSolid::GetQuadValueFixed(double t) const {
  uint64_t quad = 0;
  // A gradient without colour stops is not meant to exist; it reads as
  // transparent black rather than touching an empty list.
  if (!m_rgb.empty()) {
    const RampPoint colour = Locate(m_rgb, t, m_smoothness);
    quad = Channel(colour, 0) | Channel(colour, 8) << 16 | Channel(colour, 16) << 32;
  }
  const uint64_t alpha = m_alpha.empty() ? c_fixedOne : Channel(Locate(m_alpha, t, m_smoothness), 0);
  return quad | alpha << 48;
}

CGradient* CGradientSolid::Clone() const { return new CGradientSolid(*this); }

bool CGradientSolid::operator==(const CGradientSolid& other) const {
  return m_smoothness == other.m_smoothness && m_rgb == other.m_rgb && m_alpha == other.m_alpha;
}

bool CGradientSolid::IsEqual(const CGradient& other) const {
  const auto* solid = dynamic_cast<const CGradientSolid*>(&other);
  return solid && CGradient::IsEqual(other) && *this == *solid;
}

void CGradientSolid::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << int(s_nSchema);
    CGradient::Serialize(ar);
    m_rgb.Serialize(ar);
    m_alpha.Serialize(ar);
    ar << m_smoothness;
    return;
  }
  int schema = 0;
  ar >> schema;
  CGradient::Serialize(ar);
  CGradientStopList rgb;
  CGradientStopList alpha;
  int smoothness = 0;
  rgb.Serialize(ar);
  alpha.Serialize(ar);
  ar >> smoothness;
  // Older documents always blended with the full ease; the number stored
  // in that field then meant nothing.
  if (schema <= kPreSmoothnessSchema) smoothness = c_defaultSmoothness;
  m_rgb.swap(rgb);
  m_alpha.swap(alpha);
  m_smoothness = smoothness;
}

bool CGradientSolid::GetProperties(IClassProperty* bag) const {
  if (!CGradient::GetProperties(bag)) return false;
  bool ok = m_rgb.GetProperties(bag->CreateChild(L"rgb"));
  ok = m_alpha.GetProperties(bag->CreateChild(L"alpha")) && ok;
  if (m_smoothness != c_defaultSmoothness || bag->IsWriteDefaults()) bag->AddAttribute(L"smoothness", m_smoothness);
  return ok;
}

bool CGradientSolid::SetProperties(IClassProperty* bag) {
  if (!CGradient::SetProperties(bag)) return false;
  bool ok = true;
  if (IClassProperty* rgb = bag->FindChild(L"rgb")) ok = m_rgb.SetProperties(rgb);
  if (IClassProperty* alpha = bag->FindChild(L"alpha")) ok = m_alpha.SetProperties(alpha) && ok;
  if (!bag->GetAttribute(L"smoothness", m_smoothness) && bag->IsResetMissing()) m_smoothness = c_defaultSmoothness;
  return ok;
}

uint64_t CGradientSolid::Measure() const {
  // A list node carries two links besides the stop.
  const uint64_t node = sizeof(CGradientStop) + 2 * sizeof(void*);
  return sizeof(*this) + (m_rgb.size() + m_alpha.size()) * node;
}

}  // namespace Kernel
