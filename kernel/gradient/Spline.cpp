#include <kernel/Spline.h>

#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/ClassProperty.h>
#include <kernel/Exceptions.h>
#include <kernel/Variant.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace Kernel {

IMPLEMENT_SERIAL(CSpline, CObject, VERSIONABLE_SCHEMA | 12)

namespace {

static_assert(std::endian::native == std::endian::little, "the knot block is archived as native doubles");

// The 1/6 of the cubic term, as the double the curve has always used.
constexpr double kSixth = 0.16666666666666666;

// A block of 3 * n doubles, zeroed so that the second derivatives of a
// spline too short to compute them read 0.
double* AllocateBlock(int n) {
  if (n <= 0) return nullptr;
  auto* p = static_cast<double*>(std::calloc(std::size_t(n) * 3, sizeof(double)));
  if (!p) AfxThrowMemoryException();
  return p;
}

// Bytes a loading archive still holds, or the largest value when its file
// cannot tell (then reading finds the end itself). Flush hands the archive's
// read-ahead back to the file, so the file position is the archive's.
uint64_t RemainingBytes(CArchive& ar) {
  CFile* file = ar.GetFile();
  if (!file) return 0;
  try {
    ar.Flush();
    const uint64_t length = file->GetLength();
    const uint64_t position = file->GetPosition();
    return length > position ? length - position : 0;
  } catch (const CFileException&) {
    return std::numeric_limits<uint64_t>::max();
  }
}

// Reads count doubles; the buffer grows only with data that actually
// arrives, so even when the remaining length is unknown a damaged count
// cannot make us allocate far beyond the archive.
std::vector<double> ReadDoubles(CArchive& ar, std::size_t count) {
  constexpr std::size_t kChunk = std::size_t(1) << 16;
  std::vector<double> values;
  try {
    values.reserve(std::min(count, kChunk));
    while (values.size() < count) {
      const std::size_t at = values.size();
      const std::size_t more = std::min(kChunk, count - at);
      values.resize(at + more);
      const UINT bytes = UINT(more * sizeof(double));
      if (ar.Read(values.data() + at, bytes) != bytes) AfxThrowArchiveException(CArchiveException::endOfFile);
    }
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  return values;
}

}  // namespace

CSpline::CSpline() noexcept = default;

CSpline::CSpline(const CSpline& other) : CObject(), CRefCount(), IPropHandler() { *this = other; }

// Only the curve is copied: the reference count belongs to this object.
CSpline& CSpline::operator=(const CSpline& other) {
  if (this == &other) return *this;
  if (other.m_n != m_n) Adopt(AllocateBlock(other.m_n), other.m_n);
  if (m_n) std::memcpy(m_x, other.m_x, std::size_t(m_n) * 3 * sizeof(double));
  m_linear = other.m_linear;
  m_yp1 = other.m_yp1;
  m_ypn = other.m_ypn;
  ResetCache();
  return *this;
}

CSpline::~CSpline() { std::free(m_x); }

void CSpline::Adopt(double* block, int n) noexcept {
  std::free(m_x);
  m_x = block;
  m_n = block ? n : 0;
  m_y = block ? block + m_n : nullptr;
  m_y2 = block ? block + 2 * std::size_t(m_n) : nullptr;
}

void CSpline::ResetCache() const noexcept {
  m_khi = 1;
  if (m_n >= 2) {
    m_h = m_x[1] - m_x[0];
    m_invH = 1.0 / m_h;
  } else {
    m_h = m_invH = 1.0;
  }
}

void CSpline::ComputeSecondDerivatives() {
  const int n = m_n;
  if (n < 2) return;
  const double* x = m_x;
  const double* y = m_y;
  double* y2 = m_y2;
  std::vector<double> u(static_cast<std::size_t>(n) - 1);

  if (m_yp1 > c_naturalThreshold) {
    y2[0] = u[0] = 0.0;
  } else {
    y2[0] = -0.5;
    u[0] = (3.0 / (x[1] - x[0])) * ((y[1] - y[0]) / (x[1] - x[0]) - m_yp1);
  }
  for (int i = 1; i < n - 1; ++i) {
    const double sig = (x[i] - x[i - 1]) / (x[i + 1] - x[i - 1]);
    const double p = sig * y2[i - 1] + 2.0;
    y2[i] = (sig - 1.0) / p;
    u[i] =
        (6.0 * ((y[i + 1] - y[i]) / (x[i + 1] - x[i]) - (y[i] - y[i - 1]) / (x[i] - x[i - 1])) / (x[i + 1] - x[i - 1]) -
         sig * u[i - 1]) /
        p;
  }
  double qn = 0.0;
  double un = 0.0;
  if (!(m_ypn > c_naturalThreshold)) {
    qn = 0.5;
    un = (3.0 / (x[n - 1] - x[n - 2])) * (m_ypn - (y[n - 1] - y[n - 2]) / (x[n - 1] - x[n - 2]));
  }
  y2[n - 1] = (un - qn * u[n - 2]) / (qn * y2[n - 2] + 1.0);
  for (int k = n - 2; k >= 0; --k) y2[k] = y2[k] * y2[k + 1] + u[k];
  ResetCache();
}

void CSpline::Set(const double* x, const double* y, int n) {
  if (n <= 0) return;
  const std::size_t bytes = std::size_t(n) * sizeof(double);
  if (n != m_n) {
    // Copy before the old block goes: x and y may point into it.
    double* block = AllocateBlock(n);
    std::memcpy(block, x, bytes);
    std::memcpy(block + n, y, bytes);
    Adopt(block, n);
  } else {
    std::memmove(m_x, x, bytes);
    std::memmove(m_y, y, bytes);
  }
  ComputeSecondDerivatives();
}

void CSpline::SetX(int i, double x) {
  m_x[i] = x;
  ComputeSecondDerivatives();
}

void CSpline::SetY(int i, double y) {
  m_y[i] = y;
  ComputeSecondDerivatives();
}

void CSpline::SetXY(int i, double x, double y) {
  m_x[i] = x;
  m_y[i] = y;
  ComputeSecondDerivatives();
}

void CSpline::SetBoundaryConditions(double yp1, double ypn) {
  m_yp1 = yp1;
  m_ypn = ypn;
  ComputeSecondDerivatives();
}

int CSpline::AddKnot(double x, double y) {
  const int at = int(std::lower_bound(m_x, m_x + m_n, x) - m_x);
  InsertKnot(at, x, y);
  return m_n - 1;
}

void CSpline::InsertKnot(int i, double x, double y) {
  std::vector<double> xs(m_x, m_x + m_n);
  std::vector<double> ys(m_y, m_y + m_n);
  xs.insert(xs.begin() + i, x);
  ys.insert(ys.begin() + i, y);
  Set(xs.data(), ys.data(), int(xs.size()));
}

void CSpline::RemoveKnot(int i) {
  std::vector<double> xs(m_x, m_x + m_n);
  std::vector<double> ys(m_y, m_y + m_n);
  xs.erase(xs.begin() + i);
  ys.erase(ys.begin() + i);
  Set(xs.data(), ys.data(), int(xs.size()));
}

void CSpline::RemoveKnots() noexcept {
  Adopt(nullptr, 0);
  ResetCache();
}

// The cache check is written so that a NaN query falls through to the
// search, and the search keeps 1 <= k <= n - 1 whatever the x values hold,
// so neither can leave the block. Defined inline here so the evaluators
// below get it without a call through the library's symbol table.
inline int CSpline::FindInterval(double v) const noexcept {
  const double* x = m_x;
  int k = m_khi;
  if (x[k - 1] <= v && v < x[k]) return k;
  int lo = 1;
  int hi = m_n;
  while (hi - lo > 1) {
    const int mid = (hi + lo) >> 1;
    // Selected through a mask rather than a branch: random queries would
    // mispredict about half of the comparisons.
    const int below = -int(x[mid - 1] <= v);
    lo = (mid & below) | (lo & ~below);
    hi = (hi & below) | (mid & ~below);
  }
  k = lo;
  m_khi = k;
  m_h = x[k] - x[k - 1];
  m_invH = 1.0 / m_h;
  return k;
}

double CSpline::LinearInterpolate(double x) const {
  if (m_n <= 0) return 0.0;
  if (x <= m_x[0] || m_n == 1) return m_y[0];  // a lone knot also answers a NaN
  if (x >= m_x[m_n - 1]) return m_y[m_n - 1];
  const int k = FindInterval(x);
  const double a = (m_x[k] - x) * m_invH;
  const double b = 1.0 - a;
  return b * m_y[k] + a * m_y[k - 1];
}

double CSpline::CubicInterpolate(double x) const {
  if (m_n <= 0) return 0.0;
  if (x <= m_x[0] || m_n == 1) return m_y[0];  // a lone knot also answers a NaN
  if (x >= m_x[m_n - 1]) return m_y[m_n - 1];
  const int k = FindInterval(x);
  const double h = m_h;
  const double a = (m_x[k] - x) * m_invH;
  const double b = 1.0 - a;
  return a * m_y[k - 1] + b * m_y[k] + ((a * a * a - a) * m_y2[k - 1] + (b * b * b - b) * m_y2[k]) * (h * h) * kSixth;
}

double CSpline::LinearDerivative(double x) const {
  if (m_n <= 1 || x <= m_x[0] || x >= m_x[m_n - 1]) return 0.0;
  const int k = FindInterval(x);
  return (m_y[k] - m_y[k - 1]) * m_invH;
}

double CSpline::CubicDerivative(double x) const {
  if (m_n <= 1 || x <= m_x[0] || x >= m_x[m_n - 1]) return 0.0;
  const int k = FindInterval(x);
  const double h6 = m_h * kSixth;
  const double a = (m_x[k] - x) * m_invH;
  const double b = 1.0 - a;
  return (m_y[k] - m_y[k - 1]) * m_invH - (3.0 * a * a - 1.0) * h6 * m_y2[k - 1] + (3.0 * b * b - 1.0) * h6 * m_y2[k];
}

void CSpline::CopyScale(CSpline& target, double xScale, double xOffset, double yScale, double yOffset) const {
  if (m_n <= 0) {
    target.RemoveKnots();
    target.m_linear = m_linear;
    return;
  }
  std::vector<double> xs(static_cast<std::size_t>(m_n));
  std::vector<double> ys(static_cast<std::size_t>(m_n));
  for (int i = 0; i < m_n; ++i) {
    xs[i] = (m_x[i] + xOffset) * xScale;
    ys[i] = (m_y[i] + yOffset) * yScale;
  }
  const bool linear = m_linear;
  target.Set(xs.data(), ys.data(), m_n);
  target.m_linear = linear;
}

void CSpline::CreateTable(unsigned char* table, int count, double x0, double x1, double yScale, double yOffset) const {
  if (!table || count <= 0) return;
  const double step = count > 1 ? (x1 - x0) / (count - 1) : 0.0;
  for (int i = 0; i < count; ++i) {
    const double v = (Interpolate(x0 + i * step) + yOffset) * yScale;
    const double r = std::floor(v + 0.5);
    // Written so that NaN lands on 0.
    table[i] = r >= 255.0 ? 255 : (r > 0.0 ? static_cast<unsigned char>(r) : 0);
  }
}

bool CSpline::operator==(const CSpline& other) const noexcept {
  if (this == &other) return true;
  if (m_n != other.m_n || m_linear != other.m_linear) return false;
  if (!(std::fabs(m_yp1 - other.m_yp1) <= c_tolerance) || !(std::fabs(m_ypn - other.m_ypn) <= c_tolerance))
    return false;
  for (int i = 0; i < 2 * m_n; ++i)  // the x and the y views are contiguous
    if (!(std::fabs(m_x[i] - other.m_x[i]) <= c_tolerance)) return false;
  return true;
}

void CSpline::Serialize(CArchive& ar) {
  CObject::Serialize(ar);
  if (ar.IsStoring()) {
    ar << int32_t(c_schema);
    ar << BYTE(m_linear ? 1 : 0);
    ar << int32_t(m_n);
    // Large blocks go out in pieces: a single Write takes a 32-bit count.
    constexpr std::size_t kChunk = std::size_t(1) << 20;
    const std::size_t total = std::size_t(m_n) * 3;
    for (std::size_t done = 0; done < total; done += kChunk) {
      const std::size_t count = std::min(kChunk, total - done);
      ar.Write(m_x + done, UINT(count * sizeof(double)));
    }
    ar << m_yp1 << m_ypn;
    return;
  }

  // The old knots go first; everything read is applied only once the whole
  // record has arrived, so a failure leaves an empty spline with its flag
  // and end derivatives as they were, never a half-read one.
  RemoveKnots();
  int32_t schema = 0;
  ar >> schema;
  bool linear = m_linear;
  if (schema >= 11) {
    BYTE flag = 0;
    ar >> flag;
    linear = flag != 0;
  }
  int32_t n = 0;
  ar >> n;
  if (n < 0) AfxThrowArchiveException(CArchiveException::badIndex);
  std::vector<double> values;
  if (n > 0) {
    const uint64_t bytes = uint64_t(n) * 3 * sizeof(double);
    if (bytes > RemainingBytes(ar)) AfxThrowArchiveException(CArchiveException::endOfFile);
    values = ReadDoubles(ar, std::size_t(n) * 3);
  }
  double yp1 = m_yp1;
  double ypn = m_ypn;
  if (schema >= 12) ar >> yp1 >> ypn;
  if (n > 0) {
    double* block = AllocateBlock(n);
    std::memcpy(block, values.data(), values.size() * sizeof(double));
    Adopt(block, n);
    ResetCache();
  }
  m_linear = linear;
  m_yp1 = yp1;
  m_ypn = ypn;
}

bool CSpline::GetProperties(IClassProperty* bag) const {
  if (!bag) return false;
  const bool all = bag->IsWriteDefaults();
  if (all || m_linear) bag->AddAttribute(L"linear", m_linear);
  if (all || m_yp1 != c_natural) bag->AddAttribute(L"yp1", m_yp1);
  if (all || m_ypn != c_natural) bag->AddAttribute(L"ypn", m_ypn);
  if (m_n > 0) {
    CVariant block;
    block.SetArray(m_x, m_n * 3);
    bag->AddVariantAttribute(L"xyy2", block);
  }
  return true;
}

bool CSpline::SetProperties(IClassProperty* bag) {
  if (!bag) return false;
  const bool reset = bag->IsResetMissing();
  if (!bag->GetAttribute(L"linear", m_linear) && reset) m_linear = false;
  if (!bag->GetAttribute(L"yp1", m_yp1) && reset) m_yp1 = c_natural;
  if (!bag->GetAttribute(L"ypn", m_ypn) && reset) m_ypn = c_natural;

  CVariant block;
  const int count = bag->GetVariantAttribute(L"xyy2", block) ? block.GetArray(static_cast<double*>(nullptr), 0) : -1;
  const int n = count > 0 ? count / 3 : 0;
  if (n <= 0) {
    RemoveKnots();
    return true;
  }
  std::vector<double> values(static_cast<std::size_t>(count));
  block.GetArray(values.data(), count);
  double* fresh = AllocateBlock(n);
  std::memcpy(fresh, values.data(), std::size_t(n) * 3 * sizeof(double));
  Adopt(fresh, n);
  ResetCache();
  return true;
}

uint64_t CSpline::Measure() const { return sizeof(*this) + uint64_t(m_n) * 3 * sizeof(double); }

}  // namespace Kernel
