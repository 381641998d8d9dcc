#include <kernel/GradientStop.h>

#include <kernel/CArchive.h>
#include <kernel/ClassProperty.h>
#include <kernel/Exceptions.h>

#include "GradientPersist.h"

#include <cmath>
#include <utility>

namespace Kernel {

IMPLEMENT_SERIAL(CGradientStop, CObject, CGradientStop::s_nSchema)
IMPLEMENT_DYNAMIC(CGradientStopList, CObject)

namespace {

constexpr uint32_t kDefaultValue = 0xFF000000u;
constexpr double kDefaultHalfway = 0.5;
// Doubles of the gradient classes compare equal within this absolute distance.
constexpr double kTolerance = 1e-6;

bool Near(double a, double b) { return std::fabs(a - b) <= kTolerance; }

}  // namespace

// --- CGradientStop -----------------------------------------------------------

CGradientStop::CGradientStop() noexcept : m_value(kDefaultValue), m_pos(0.0), m_halfway(kDefaultHalfway) {}

CGradientStop::CGradientStop(const CGradientStop& other) noexcept
    : CObject(), m_value(other.m_value), m_pos(other.m_pos), m_halfway(other.m_halfway) {}

CGradientStop::CGradientStop(uint8_t value, double pos, double halfway) noexcept
    : m_value(value), m_pos(pos), m_halfway(halfway) {}

CGradientStop::CGradientStop(uint32_t value, double pos, double halfway) noexcept
    : m_value(value), m_pos(pos), m_halfway(halfway) {}

CGradientStop& CGradientStop::operator=(const CGradientStop& other) noexcept {
  m_value = other.m_value;
  m_pos = other.m_pos;
  m_halfway = other.m_halfway;
  return *this;
}

CGradientStop::~CGradientStop() = default;

void CGradientStop::SetHalfwayPos(double halfway) noexcept {
  if (halfway < c_minHalfway)
    m_halfway = c_minHalfway;
  else if (!(halfway < c_maxHalfway))  // also NaN: keep the midpoint a number
    m_halfway = c_maxHalfway;
  else
    m_halfway = halfway;
}

bool CGradientStop::operator==(const CGradientStop& other) const noexcept {
  return m_value == other.m_value && Near(m_pos, other.m_pos) && Near(m_halfway, other.m_halfway);
}

void CGradientStop::swap(CGradientStop& other) noexcept {
  std::swap(m_value, other.m_value);
  std::swap(m_pos, other.m_pos);
  std::swap(m_halfway, other.m_halfway);
}

void CGradientStop::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << int(s_nSchema) << DWORD(m_value) << m_pos << m_halfway;
    return;
  }
  // Every schema so far has the same three fields; the number is read only
  // to step over it.
  int schema = 0;
  DWORD value = 0;
  double pos = 0.0;
  double halfway = 0.0;
  ar >> schema >> value >> pos >> halfway;
  m_value = value;
  m_pos = pos;
  m_halfway = halfway;  // as stored: the clamp belongs to the editor's setter
}

bool CGradientStop::GetProperties(IClassProperty* bag) const {
  if (!bag) return false;
  bag->AddAttribute(L"val", static_cast<unsigned int>(m_value));
  bag->AddAttribute(L"pos", m_pos);
  if (m_halfway != kDefaultHalfway || bag->IsWriteDefaults()) bag->AddAttribute(L"half", m_halfway);
  return true;
}

bool CGradientStop::SetProperties(IClassProperty* bag) {
  if (!bag) return false;
  const bool reset = bag->IsResetMissing();
  unsigned int value = m_value;
  // A missing value resets to 0, not to the constructor's opaque black: the
  // bag's default for an absent integer.
  if (bag->GetAttribute(L"val", value))
    m_value = value;
  else if (reset)
    m_value = 0;
  if (!bag->GetAttribute(L"pos", m_pos) && reset) m_pos = 0.0;
  if (!bag->GetAttribute(L"half", m_halfway) && reset) m_halfway = kDefaultHalfway;
  return true;
}

// --- CGradientStopList -------------------------------------------------------

CGradientStopList::CGradientStopList() = default;

CGradientStopList::CGradientStopList(const CGradientStopList& other)
    : std::list<CGradientStop>(other), CObject(), IPropHandler() {}

CGradientStopList& CGradientStopList::operator=(const CGradientStopList& other) {
  std::list<CGradientStop>::operator=(other);
  return *this;
}

CGradientStopList::~CGradientStopList() = default;

bool CGradientStopList::operator==(const CGradientStopList& other) const noexcept {
  if (size() != other.size()) return false;
  for (auto a = begin(), b = other.begin(); a != end(); ++a, ++b)
    if (*a != *b) return false;
  return true;
}

void CGradientStopList::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    ar << int(s_nSchema) << int(size());
    for (CGradientStop& stop : *this) stop.Serialize(ar);
    return;
  }
  int schema = 0;
  int count = 0;
  ar >> schema >> count;
  if (count < 0) AfxThrowArchiveException(CArchiveException::badIndex);
  // A damaged count must not size anything: the stops it announces have to
  // be there.
  if (uint64_t(count) * c_archiveStopSize > ArchiveBytesLeft(ar))
    AfxThrowArchiveException(CArchiveException::endOfFile);
  std::list<CGradientStop> loaded(static_cast<std::size_t>(count));
  for (CGradientStop& stop : loaded) stop.Serialize(ar);
  std::list<CGradientStop>::swap(loaded);
}

bool CGradientStopList::GetProperties(IClassProperty* bag) const {
  if (!bag) return false;
  bool ok = true;
  for (const CGradientStop& stop : *this) {
    IClassProperty* child = bag->CreateChild(IClassProperty::ITEM_TAG);
    ok = stop.GetProperties(child) && ok;
  }
  return ok;
}

bool CGradientStopList::SetProperties(IClassProperty* bag) {
  if (!bag) return false;
  clear();
  bool ok = true;
  for (IClassProperty* child : ChildrenNamed(bag, IClassProperty::ITEM_TAG)) {
    CGradientStop stop;
    ok = stop.SetProperties(child) && ok;
    push_back(stop);
  }
  return ok;
}

}  // namespace Kernel
