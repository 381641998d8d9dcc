// Loads gradient stops, stop lists, splines and gradients from arbitrary archive
// bytes, each inside a pointer-map session as a document loader would:
// damaged counts and short data must end in an archive exception, never in
// a crash or an allocation sized by a count alone. Whatever loads must store
// and reload to the same bytes.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Gradient.h>
#include <kernel/GradientStop.h>
#include <kernel/Persist.h>
#include <kernel/Spline.h>

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

namespace {

using Bytes = std::vector<BYTE>;

template <class T>
Bytes Store(T& object) {
  CMemFile out;
  {
    CArchive ar(&out, CArchive::store);
    Persist::CPtrMapsSession session(ar);
    object.Serialize(ar);
  }
  const BYTE* p = out.GetBufferPtr();
  return Bytes(p, p + out.GetLength());
}

// True when the bytes loaded into object.
template <class T>
bool Load(Bytes bytes, T& object) {
  try {
    CMemFile file(bytes.empty() ? nullptr : bytes.data(), UINT(bytes.size()));
    CArchive ar(&file, CArchive::load);
    Persist::CPtrMapsSession session(ar);
    object.Serialize(ar);
    return true;
  } catch (const CArchiveException&) {
    return false;
  }
}

// Splines are defined only over finite, strictly increasing knots; a spline
// read from damaged bytes need not have them.
bool KnotsInOrder(const Kernel::CSpline& spline) {
  for (int i = 0; i < spline.GetCount(); ++i)
    if (!std::isfinite(spline.GetX(i)) || (i > 0 && !(spline.GetX(i) > spline.GetX(i - 1)))) return false;
  return true;
}

bool Evaluable(const Kernel::CGradientSolid&) { return true; }
bool Evaluable(const Kernel::CGradientSpline& gradient) {
  for (int channel = 0; channel < Kernel::CGradientSpline::c_channelCount; ++channel)
    if (!KnotsInOrder(gradient.GetSpline(channel))) return false;
  return true;
}

// Loads with a fresh object from make(); if that works, the stored form must
// reload to itself.
template <class Make>
void Exercise(const Bytes& input, Make make) {
  auto first = make();
  if (!Load(input, *first)) return;
  const Bytes stored = Store(*first);
  auto second = make();
  if (!Load(stored, *second)) __builtin_trap();
  if (Store(*second) != stored) __builtin_trap();
  // Reading values must be safe whatever was loaded, as far as the curves
  // keep their own precondition (finite, strictly increasing knots).
  if constexpr (requires { first->GetQuadValueFixed(0.5); }) {
    if (Evaluable(*first))
      for (double t : {-1.0, 0.0, 0.25, 0.5, 1.0, 2.0})
        (void)(first->GetQuadValueFixed(t) + first->GetSingleValueFixed(t));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Bytes input(data, data + size);
  Exercise(input, [] { return std::make_unique<Kernel::CGradientStop>(); });
  Exercise(input, [] { return std::make_unique<Kernel::CGradientStopList>(); });
  Exercise(input, [] { return Kernel::MakePtr<Kernel::CGradientSolid>(); });
  Exercise(input, [] { return Kernel::MakePtr<Kernel::CGradientSpline>(); });
  Exercise(input, [] { return Kernel::MakePtr<Kernel::CSpline>(); });
  return 0;
}
