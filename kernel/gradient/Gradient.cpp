#include <kernel/Gradient.h>

#include <kernel/CArchive.h>
#include <kernel/Colour.h>
#include <kernel/Dynamic.h>
#include <kernel/Persist.h>

#include <cmath>

namespace Kernel {

IMPLEMENT_DYNAMIC(CGradient, CObject)

namespace {

// 1/32640 as the compositing over white has always applied it.
constexpr double kInverseFixedOne = 3.0637254901960784e-5;

// Gradients are re-created from the class names stored with them.
struct FactoryRegistration {
  FactoryRegistration() {
    Dynamic::CFactoryMap& factories = Dynamic::CFactoryMap::Instance();
    for (const char* name : {"CGradient", "CGradientSolid", "CGradientSpline"})
      factories.AddFactory(name, new Dynamic::CMFCFactory(name));
  }
};
const FactoryRegistration s_factoryRegistration;

}  // namespace

CGradient::CGradient() noexcept = default;

CGradient::CGradient(const CGradient& other) noexcept : CObject(), CRefCount(other), IPropHandler(other) {}

// Content only: the reference count belongs to this object's owners.
CGradient& CGradient::operator=(const CGradient&) noexcept { return *this; }

CGradient::~CGradient() = default;

uint16_t CGradient::GetSingleValueFixed(double t) const {
  const uint64_t quad = GetQuadValueFixed(t);
  const int r = int(quad & 0xFFFF);
  const int g = int((quad >> 16) & 0xFFFF);
  const int b = int((quad >> 32) & 0xFFFF);
  const int64_t alpha = int64_t(quad >> 48);
  const int64_t one = c_fixedOne;
  const int64_t luminance = GetLuminance(b, g, r);  // crossed on purpose: see the header
  const double over = double((luminance - one) * alpha + one * one) * kInverseFixedOne;
  return uint16_t(std::lround(over));
}

uint8_t CGradient::GetSingleValueByte(double t) const { return uint8_t((GetSingleValueFixed(t) + 64u) >> 7); }

uint32_t CGradient::GetQuadValueDword(double t) const {
  const uint64_t quad = GetQuadValueFixed(t);
  uint32_t packed = 0;
  for (int channel = 0; channel < 4; ++channel) {
    const uint32_t fixed = uint32_t(quad >> (16 * channel)) & 0xFFFFu;
    packed |= ((fixed + 64u) >> 7) << (8 * channel);
  }
  return packed;
}

CPtr<CGradient> CGradient::MakeClone() const { return CPtr<CGradient>(Clone()); }

bool CGradient::IsEqual(const CGradient& other) const { return GetRuntimeClass() == other.GetRuntimeClass(); }

void CGradient::Serialize(CArchive& ar) {
  if (ar.IsStoring()) {
    Persist::CPtrMapsSession session(ar);
    ar << int(s_nSchema);  // the counted part stores nothing
    return;
  }
  // The pointer map takes a reference for the length of the outermost
  // session. When our own session is the only one it closes before we
  // return, and its release would delete a gradient nobody owns yet; the
  // temporary reference around it lets such a gradient survive its load.
  AddRef();
  try {
    Persist::CPtrMapsSession session(ar);
    int schema = 0;
    ar >> schema;  // the base part has had one form only
    CRefCount::Serialize(ar);
  } catch (...) {
    ReleaseNoDel();
    throw;
  }
  ReleaseNoDel();
}

bool CGradient::GetProperties(IClassProperty* bag) const { return bag && CRefCount::GetProperties(bag); }

bool CGradient::SetProperties(IClassProperty* bag) { return bag && CRefCount::SetProperties(bag); }

}  // namespace Kernel
