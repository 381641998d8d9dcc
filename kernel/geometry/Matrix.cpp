#include <kernel/Matrix.h>

#include <kernel/ClassProperty.h>
#include <kernel/Variant.h>

#include <kernel/CArchive.h>
#include <kernel/Exceptions.h>
#include <kernel/Persist.h>

#include <algorithm>
#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <vector>

namespace Kernel {

IMPLEMENT_SERIAL(CMatrix, CObject, 10)

namespace {

constexpr int kSchema = 10;

static_assert(std::endian::native == std::endian::little, "archive doubles are stored in native little-endian order");

std::size_t ElementCount(int cols, int rows) {
  if (cols <= 0 || rows <= 0) return 0;
  return std::size_t(cols) * std::size_t(rows);
}

// malloc'ed storage, as the data pointer is released with free.
double* Allocate(std::size_t count) {
  if (count == 0) return nullptr;
  if (count > std::numeric_limits<std::size_t>::max() / sizeof(double)) AfxThrowMemoryException();
  auto* p = static_cast<double*>(std::malloc(count * sizeof(double)));
  if (!p) AfxThrowMemoryException();
  return p;
}

// 2x2 determinant exactly as the row-0 expansion computes it.
inline double Det2(double a, double b, double c, double d) { return a * d - b * c; }

// 3x3 and 4x4 determinants of selected rows and columns, written out in the
// expansion's order of operations so every path gives identical values.
inline double Det3(const double* r0, const double* r1, const double* r2, int c0, int c1, int c2) {
  return r0[c0] * Det2(r1[c1], r1[c2], r2[c1], r2[c2]) - r0[c1] * Det2(r1[c0], r1[c2], r2[c0], r2[c2]) +
         r0[c2] * Det2(r1[c0], r1[c1], r2[c0], r2[c1]);
}

inline double Det4(const double* r0, const double* r1, const double* r2, const double* r3, const int* c) {
  return r0[c[0]] * Det3(r1, r2, r3, c[1], c[2], c[3]) - r0[c[1]] * Det3(r1, r2, r3, c[0], c[2], c[3]) +
         r0[c[2]] * Det3(r1, r2, r3, c[0], c[1], c[3]) - r0[c[3]] * Det3(r1, r2, r3, c[0], c[1], c[2]);
}

// Up to this order the determinant is the expansion along the first row;
// it costs n!/24 4x4 determinants, so larger matrices use elimination.
constexpr int kMaxExpansionOrder = 8;
// Up to this order Inverse divides the classical adjugate by the
// determinant; beyond it, the n^2 cofactors cost more than an LU inverse.
constexpr int kMaxAdjugateOrder = 6;

// Determinant by Gaussian elimination with partial pivoting of the n x n
// matrix held row-major in work (destroyed).
double EliminationDeterminant(double* work, int n) {
  double det = 1.0;
  for (int k = 0; k < n; ++k) {
    int pivot = k;
    for (int i = k + 1; i < n; ++i)
      if (std::fabs(work[i * n + k]) > std::fabs(work[pivot * n + k])) pivot = i;
    if (work[pivot * n + k] == 0.0) return 0.0;
    if (pivot != k) {
      std::swap_ranges(work + k * n, work + k * n + n, work + pivot * n);
      det = -det;
    }
    const double* pk = work + k * n;
    det *= pk[k];
    for (int i = k + 1; i < n; ++i) {
      double* pi = work + i * n;
      const double f = pi[k] / pk[k];
      if (f == 0.0) continue;
      for (int j = k + 1; j < n; ++j) pi[j] -= f * pk[j];
    }
  }
  return det;
}

// Determinant of the submatrix of m made of the given rows and columns (n
// of each, in order): expansion along its first row, recursively, without
// building the minors.
double SubDeterminant(const CMatrix& m, const int* rows, const int* cols, int n) {
  switch (n) {
    case 0:
      return 0.0;
    case 1:
      return m[rows[0]][cols[0]];
    case 2:
      return Det2(m[rows[0]][cols[0]], m[rows[0]][cols[1]], m[rows[1]][cols[0]], m[rows[1]][cols[1]]);
    case 3:
      return Det3(m[rows[0]], m[rows[1]], m[rows[2]], cols[0], cols[1], cols[2]);
    case 4:
      return Det4(m[rows[0]], m[rows[1]], m[rows[2]], m[rows[3]], cols);
    default:
      break;
  }
  if (n > kMaxExpansionOrder) {
    std::vector<double> work(std::size_t(n) * std::size_t(n));
    for (int i = 0; i < n; ++i)
      for (int j = 0; j < n; ++j) work[std::size_t(i) * n + j] = m[rows[i]][cols[j]];
    return EliminationDeterminant(work.data(), n);
  }
  int sub[kMaxExpansionOrder];
  const double* first = m[rows[0]];
  double det = 0.0;
  for (int j = 0; j < n; ++j) {
    for (int k = 0, o = 0; k < n; ++k)
      if (k != j) sub[o++] = cols[k];
    const double term = first[cols[j]] * SubDeterminant(m, rows + 1, sub, n - 1);
    det += (j & 1) ? -term : term;
  }
  return det;
}

std::vector<int> Iota(int n) {
  std::vector<int> v(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i) v[i] = i;
  return v;
}

// Indices 0..n-1 without skip.
std::vector<int> IotaWithout(int n, int skip) {
  std::vector<int> v;
  v.reserve(static_cast<std::size_t>(n));
  for (int i = 0; i < n; ++i)
    if (i != skip) v.push_back(i);
  return v;
}

}  // namespace

CMatrix::CMatrix() noexcept : m_data(nullptr), m_cols(0), m_rows(0) {}

CMatrix::CMatrix(int columns, int rows) : CMatrix() { Create(columns, rows); }

CMatrix::CMatrix(const CMatrix& other)
    : CObject(), CRefCount(other), IPropHandler(), m_data(nullptr), m_cols(0), m_rows(0) {
  *this = other;
}

CMatrix::CMatrix(CMatrix&& other) noexcept
    : CObject(), CRefCount(), IPropHandler(), m_data(other.m_data), m_cols(other.m_cols), m_rows(other.m_rows) {
  other.m_data = nullptr;
  other.m_cols = other.m_rows = 0;
}

CMatrix& CMatrix::operator=(const CMatrix& other) {
  if (this == &other) return *this;
  if (m_cols != other.m_cols || m_rows != other.m_rows) Create(other.m_cols, other.m_rows);
  const std::size_t n = ElementCount(m_cols, m_rows);
  if (n) std::memcpy(m_data, other.m_data, n * sizeof(double));
  return *this;
}

CMatrix& CMatrix::operator=(CMatrix&& other) noexcept {
  if (this != &other) {
    std::free(m_data);
    m_data = other.m_data;
    m_cols = other.m_cols;
    m_rows = other.m_rows;
    other.m_data = nullptr;
    other.m_cols = other.m_rows = 0;
  }
  return *this;
}

CMatrix::~CMatrix() { std::free(m_data); }

void CMatrix::Create(int columns, int rows) {
  if (columns < 0 || rows < 0) {
    Clear();
    m_cols = m_rows = -1;
    return;
  }
  const std::size_t n = ElementCount(columns, rows);
  if (n != ElementCount(m_cols, m_rows)) {
    double* p = Allocate(n);
    std::free(m_data);
    m_data = p;
  }
  m_cols = columns;
  m_rows = rows;
}

void CMatrix::Clear() noexcept {
  std::free(m_data);
  m_data = nullptr;
  m_cols = m_rows = 0;
}

void CMatrix::SetZero() noexcept { std::fill_n(m_data, ElementCount(m_cols, m_rows), 0.0); }

void CMatrix::SetIdentity() noexcept {
  SetZero();
  const int n = std::min(m_rows, m_cols);
  for (int r = 0; r < n; ++r) SetAt(r, r, 1.0);
}

CMatrix& CMatrix::operator*=(double f) noexcept {
  const std::size_t n = ElementCount(m_cols, m_rows);
  for (std::size_t k = 0; k < n; ++k) m_data[k] *= f;
  return *this;
}

CMatrix& CMatrix::operator/=(double f) noexcept {
  const std::size_t n = ElementCount(m_cols, m_rows);
  for (std::size_t k = 0; k < n; ++k) m_data[k] /= f;
  return *this;
}

void CMatrix::Add(const CMatrix& m) noexcept {
  const std::size_t n = ElementCount(m_cols, m_rows);
  for (std::size_t k = 0; k < n; ++k) m_data[k] += m.m_data[k];
}

CMatrix CMatrix::operator+(const CMatrix& m) const {
  CMatrix sum(*this);
  sum.Add(m);
  return sum;
}

CMatrix CMatrix::operator*(const CMatrix& m) const {
  CMatrix p(m.m_cols, m_rows);
  p.SetZero();
  // i-k-j order walks both operands row by row.
  for (int i = 0; i < m_rows; ++i) {
    double* out = p[i];
    const double* a = (*this)[i];
    for (int k = 0; k < m_cols; ++k) {
      const double aik = a[k];
      const double* b = m[k];
      for (int j = 0; j < m.m_cols; ++j) out[j] += aik * b[j];
    }
  }
  return p;
}

void CMatrix::PreMultiply(const CMatrix& m) { *this = m * *this; }

void CMatrix::PostMultiply(const CMatrix& m) { *this = *this * m; }

bool CMatrix::IsZero(double tol) const noexcept {
  const std::size_t n = ElementCount(m_cols, m_rows);
  for (std::size_t k = 0; k < n; ++k)
    if (!(std::fabs(m_data[k]) <= tol)) return false;
  return true;
}

bool CMatrix::IsIdentity(double tol) const noexcept {
  for (int r = 0; r < m_rows; ++r)
    for (int c = 0; c < m_cols; ++c)
      if (!(std::fabs(GetAt(r, c) - (r == c ? 1.0 : 0.0)) <= tol)) return false;
  return true;
}

bool CMatrix::IsOrthogonal(double tol) const noexcept {
  if (!IsSquare()) return false;
  const int n = m_rows;
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      double dot = 0.0;  // column i . column j
      for (int k = 0; k < n; ++k) dot += GetAt(k, i) * GetAt(k, j);
      if (!(std::fabs(dot - (i == j ? 1.0 : 0.0)) <= tol)) return false;
    }
  }
  return true;
}

void CMatrix::SwapRows(int a, int b) noexcept {
  if (a == b) return;
  std::swap_ranges((*this)[a], (*this)[a] + m_cols, (*this)[b]);
}

int CMatrix::SolveGaussianElemination(CMatrix& b) {
  const int n = m_rows;
  if (b.m_cols != 1 || b.m_rows != n || m_cols != n) return 1;
  for (int k = 0; k < n; ++k) {
    if ((*this)[k][k] == 0.0) {
      int swap = k + 1;
      while (swap < n && (*this)[swap][k] == 0.0) ++swap;
      if (swap == n) return 1;
      SwapRows(k, swap);
      b.SwapRows(k, swap);
    }
    const double* pivotRow = (*this)[k];
    for (int i = k + 1; i < n; ++i) {
      double* row = (*this)[i];
      if (row[k] == 0.0) continue;
      const double f = -row[k] / pivotRow[k];
      b[i][0] += f * b[k][0];
      for (int j = k; j < n; ++j) row[j] += f * pivotRow[j];
    }
  }
  for (int i = n - 1; i >= 0; --i) {
    const double* row = (*this)[i];
    if (row[i] == 0.0) return 2;
    double sum = 0.0;
    for (int j = i + 1; j < n; ++j) sum += row[j] * b[j][0];
    b[i][0] = (b[i][0] - sum) / row[i];
  }
  return 0;
}

double CMatrix::Determinant3x3() const noexcept { return Det3((*this)[0], (*this)[1], (*this)[2], 0, 1, 2); }

double CMatrix::Determinant4x4() const noexcept {
  static constexpr int kCols[4] = {0, 1, 2, 3};
  return Det4((*this)[0], (*this)[1], (*this)[2], (*this)[3], kCols);
}

double CMatrix::Determinant() const {
  if (m_rows <= 0 || m_cols <= 0 || m_rows != m_cols) return 0.0;
  if (m_rows == 3) return Determinant3x3();
  if (m_rows == 4) return Determinant4x4();
  const std::vector<int> idx = Iota(m_rows);
  return SubDeterminant(*this, idx.data(), idx.data(), m_rows);
}

void CMatrix::Minor(int r, int c, CMatrix& out) const {
  out.Create(m_cols - 1, m_rows - 1);
  for (int i = 0, oi = 0; i < m_rows; ++i) {
    if (i == r) continue;
    const double* src = (*this)[i];
    double* dst = out[oi++];
    for (int j = 0, oj = 0; j < m_cols; ++j)
      if (j != c) dst[oj++] = src[j];
  }
}

void CMatrix::Cofactor(CMatrix& out) const {
  CMatrix result(m_cols, m_rows);
  if (m_rows == 1 && m_cols == 1) {
    result.m_data[0] = 1.0;
  } else if (m_rows > 0 && m_rows == m_cols) {
    const int n = m_rows;
    for (int r = 0; r < n; ++r) {
      const std::vector<int> rows = IotaWithout(n, r);
      for (int c = 0; c < n; ++c) {
        const std::vector<int> cols = IotaWithout(n, c);
        const double d = SubDeterminant(*this, rows.data(), cols.data(), n - 1);
        result.SetAt(r, c, ((r + c) & 1) ? -d : d);
      }
    }
  } else {
    result.SetZero();
  }
  out = std::move(result);
}

void CMatrix::Adjoint(CMatrix& out) const {
  CMatrix cofactor;
  Cofactor(cofactor);
  cofactor.Transpose(out);
}

void CMatrix::Transpose(CMatrix& out) const {
  if (&out == this) {
    CMatrix copy(*this);
    copy.Transpose(out);
    return;
  }
  out.Create(m_rows, m_cols);
  for (int r = 0; r < m_rows; ++r)
    for (int c = 0; c < m_cols; ++c) out.SetAt(c, r, GetAt(r, c));
}

bool CMatrix::Inverse3x3(CMatrix& out, double tol) const {
  const double det = Determinant3x3();
  if (std::fabs(det) <= tol) return false;
  const double* a = (*this)[0];
  const double* b = (*this)[1];
  const double* c = (*this)[2];
  const double adj[9] = {Det2(b[1], b[2], c[1], c[2]),  -Det2(a[1], a[2], c[1], c[2]), Det2(a[1], a[2], b[1], b[2]),
                         -Det2(b[0], b[2], c[0], c[2]), Det2(a[0], a[2], c[0], c[2]),  -Det2(a[0], a[2], b[0], b[2]),
                         Det2(b[0], b[1], c[0], c[1]),  -Det2(a[0], a[1], c[0], c[1]), Det2(a[0], a[1], b[0], b[1])};
  out.Create(3, 3);
  for (int k = 0; k < 9; ++k) out.m_data[k] = adj[k] / det;
  return true;
}

bool CMatrix::Inverse4x4(CMatrix& out, double tol) const {
  // Laplace expansion by complementary minors: the six 2x2 determinants of
  // rows 0-1 (s) and of rows 2-3 (c) give the determinant and every
  // cofactor with a third of the multiplications of the plain adjugate.
  const double* m = m_data;
  const double s0 = m[0] * m[5] - m[4] * m[1];
  const double s1 = m[0] * m[6] - m[4] * m[2];
  const double s2 = m[0] * m[7] - m[4] * m[3];
  const double s3 = m[1] * m[6] - m[5] * m[2];
  const double s4 = m[1] * m[7] - m[5] * m[3];
  const double s5 = m[2] * m[7] - m[6] * m[3];
  const double c5 = m[10] * m[15] - m[14] * m[11];
  const double c4 = m[9] * m[15] - m[13] * m[11];
  const double c3 = m[9] * m[14] - m[13] * m[10];
  const double c2 = m[8] * m[15] - m[12] * m[11];
  const double c1 = m[8] * m[14] - m[12] * m[10];
  const double c0 = m[8] * m[13] - m[12] * m[9];
  const double det = s0 * c5 - s1 * c4 + s2 * c3 + s3 * c2 - s4 * c1 + s5 * c0;
  if (std::fabs(det) <= tol) return false;
  const double inv = 1.0 / det;
  double r[16];
  r[0] = (m[5] * c5 - m[6] * c4 + m[7] * c3) * inv;
  r[1] = (-m[1] * c5 + m[2] * c4 - m[3] * c3) * inv;
  r[2] = (m[13] * s5 - m[14] * s4 + m[15] * s3) * inv;
  r[3] = (-m[9] * s5 + m[10] * s4 - m[11] * s3) * inv;
  r[4] = (-m[4] * c5 + m[6] * c2 - m[7] * c1) * inv;
  r[5] = (m[0] * c5 - m[2] * c2 + m[3] * c1) * inv;
  r[6] = (-m[12] * s5 + m[14] * s2 - m[15] * s1) * inv;
  r[7] = (m[8] * s5 - m[10] * s2 + m[11] * s1) * inv;
  r[8] = (m[4] * c4 - m[5] * c2 + m[7] * c0) * inv;
  r[9] = (-m[0] * c4 + m[1] * c2 - m[3] * c0) * inv;
  r[10] = (m[12] * s4 - m[13] * s2 + m[15] * s0) * inv;
  r[11] = (-m[8] * s4 + m[9] * s2 - m[11] * s0) * inv;
  r[12] = (-m[4] * c3 + m[5] * c1 - m[6] * c0) * inv;
  r[13] = (m[0] * c3 - m[1] * c1 + m[2] * c0) * inv;
  r[14] = (-m[12] * s3 + m[13] * s1 - m[14] * s0) * inv;
  r[15] = (m[8] * s3 - m[9] * s1 + m[10] * s0) * inv;
  out.Create(4, 4);
  std::memcpy(out.m_data, r, sizeof r);
  return true;
}

bool CMatrix::Inverse(CMatrix& out, double tol) const {
  if (!IsSquare() || m_rows <= 0) return false;
  if (&out == this) {
    CMatrix result;
    if (!Inverse(result, tol)) return false;
    out = std::move(result);
    return true;
  }
  if (m_rows == 3) return Inverse3x3(out, tol);
  if (m_rows == 4) return Inverse4x4(out, tol);
  if (m_rows <= kMaxAdjugateOrder) {
    const double det = Determinant();
    if (std::fabs(det) <= tol) return false;
    Adjoint(out);
    out /= det;
    return true;
  }
  return InverseByElimination(out, tol);
}

bool CMatrix::InverseByElimination(CMatrix& out, double tol) const {
  // Gauss-Jordan with partial pivoting on [A | I]; the determinant for the
  // tolerance test is the signed product of the pivots.
  const int n = m_rows;
  CMatrix a(*this);
  out.Create(n, n);
  out.SetIdentity();
  double det = 1.0;
  for (int k = 0; k < n; ++k) {
    int pivot = k;
    for (int i = k + 1; i < n; ++i)
      if (std::fabs(a[i][k]) > std::fabs(a[pivot][k])) pivot = i;
    if (pivot != k) {
      a.SwapRows(k, pivot);
      out.SwapRows(k, pivot);
      det = -det;
    }
    det *= a[k][k];
    if (a[k][k] == 0.0) break;
    const double inv = 1.0 / a[k][k];
    double* ak = a[k];
    double* ok = out[k];
    for (int j = k; j < n; ++j) ak[j] *= inv;
    for (int j = 0; j < n; ++j) ok[j] *= inv;
    for (int i = 0; i < n; ++i) {
      if (i == k) continue;
      double* ai = a[i];
      const double f = ai[k];
      if (f == 0.0) continue;
      double* oi = out[i];
      for (int j = k; j < n; ++j) ai[j] -= f * ak[j];
      for (int j = 0; j < n; ++j) oi[j] -= f * ok[j];
    }
  }
  return std::fabs(det) > tol;
}

bool CMatrix::Cholesky(CMatrix& L) const {
  if (!IsSquare()) return false;
  const int n = m_rows;
  L = *this;
  std::vector<double> p(static_cast<std::size_t>(std::max(n, 0)));
  for (int i = 0; i < n; ++i) {
    for (int j = i; j < n; ++j) {
      double sum = L[i][j];
      for (int k = 0; k < i; ++k) sum -= L[i][k] * L[j][k];
      if (i == j) {
        if (sum <= 0.0) return false;
        p[i] = std::sqrt(sum);
      } else {
        L[j][i] = sum / p[i];
      }
    }
  }
  for (int i = 0; i < n; ++i) {
    L[i][i] = p[i];
    for (int j = i + 1; j < n; ++j) L[i][j] = 0.0;
  }
  return true;
}

bool CMatrix::CholeskySolve(const CMatrix& b, CMatrix& x) const {
  const int n = m_rows;
  if (!IsSquare() || b.m_rows != n || b.m_cols <= 0) return false;
  CMatrix L;
  if (!Cholesky(L)) return false;
  CMatrix result(b);
  for (int col = 0; col < b.m_cols; ++col) {
    for (int i = 0; i < n; ++i) {  // L y = b
      double sum = result[i][col];
      for (int k = 0; k < i; ++k) sum -= L[i][k] * result[k][col];
      result[i][col] = sum / L[i][i];
    }
    for (int i = n - 1; i >= 0; --i) {  // L^T x = y
      double sum = result[i][col];
      for (int k = i + 1; k < n; ++k) sum -= L[k][i] * result[k][col];
      result[i][col] = sum / L[i][i];
    }
  }
  x = std::move(result);
  return true;
}

bool CMatrix::SVD(CMatrix& U, CMatrix& W, CMatrix& V) const {
  NR::NRMat<double> a;
  Write(a);
  NR::NRVec<double> w;
  NR::NRMat<double> v;
  if (!NR::svdcmp(a, w, v)) return false;
  U.Read(a);
  // a is rows x columns after the decomposition; an empty one keeps the
  // caller's shape information.
  if (a.nrows() == 0) U.Create(std::max(m_cols, 0), std::max(m_rows, 0));
  V.Read(v);
  const int n = std::max(m_cols, 0);
  W.Create(n, n);
  W.SetIdentity();
  for (int i = 0; i < n && i < w.size(); ++i) W[i][i] = w[i];
  return true;
}

bool CMatrix::Solve(const CMatrix& b, CMatrix& x) const {
  if (b.m_rows != m_rows || m_rows <= 0 || m_cols <= 0 || b.m_cols <= 0) return false;
  NR::NRMat<double> u;
  Write(u);
  NR::NRVec<double> w;
  NR::NRMat<double> v;
  if (!NR::svdcmp(u, w, v)) return false;
  double wmax = 0.0;
  for (int i = 0; i < w.size(); ++i) wmax = std::max(wmax, w[i]);
  const double threshold = std::max(m_rows, m_cols) * DBL_EPSILON * wmax;
  for (int i = 0; i < w.size(); ++i)
    if (w[i] <= threshold) w[i] = 0.0;
  CMatrix result(b.m_cols, m_cols);
  NR::NRVec<double> column(m_rows);
  NR::NRVec<double> solution;
  for (int c = 0; c < b.m_cols; ++c) {
    for (int r = 0; r < m_rows; ++r) column[r] = b[r][c];
    NR::svbksb(u, w, v, column, solution);
    for (int r = 0; r < m_cols; ++r) result[r][c] = solution[r];
  }
  x = std::move(result);
  return true;
}

void CMatrix::Read(const NR::NRMat<double>& m) {
  Create(m.ncols(), m.nrows());
  const std::size_t n = ElementCount(m_cols, m_rows);
  if (n) std::memcpy(m_data, m.data(), n * sizeof(double));
}

void CMatrix::Write(NR::NRMat<double>& m) const {
  const int rows = std::max(m_rows, 0);
  const int cols = std::max(m_cols, 0);
  if (m.nrows() != rows || m.ncols() != cols) {
    try {
      m = NR::NRMat<double>(rows, cols);
    } catch (const std::bad_alloc&) {
      AfxThrowMemoryException();
    }
  }
  const std::size_t n = ElementCount(m_cols, m_rows);
  if (n) std::memcpy(m.data(), m_data, n * sizeof(double));
}

void CMatrix::Serialize(CArchive& ar) {
  CObject::Serialize(ar);
  int schema = kSchema;
  if (ar.IsStoring()) {
    SerializeSchema(ar, schema);
    ar << m_cols << m_rows;
    const std::size_t n = ElementCount(m_cols, m_rows);
    // Large matrices go out in pieces: a single Write takes a 32-bit count.
    constexpr std::size_t kChunk = std::size_t(1) << 20;
    for (std::size_t done = 0; done < n; done += kChunk) {
      const std::size_t count = std::min(kChunk, n - done);
      ar.Write(m_data + done, UINT(count * sizeof(double)));
    }
    return;
  }

  SerializeSchema(ar, schema);
  if (schema != kSchema) return;
  Clear();
  m_cols = m_rows = -1;
  int cols = 0;
  int rows = 0;
  ar >> cols >> rows;
  // Valid shapes are non-negative counts, or -1 for both (a matrix without
  // shape stores itself that way).
  const bool shapeless = cols == -1 && rows == -1;
  if (!shapeless && (cols < 0 || rows < 0)) AfxThrowArchiveException(CArchiveException::badIndex);
  if (cols <= 0 || rows <= 0) {
    m_cols = cols;
    m_rows = rows;
    return;
  }
  // Read in bounded pieces so that counts from a damaged or hostile archive
  // cannot make us allocate far more than the archive actually holds: the
  // end of the data is met, and reported, before the buffer outgrows it.
  const std::size_t n = ElementCount(cols, rows);
  constexpr std::size_t kChunk = std::size_t(1) << 16;
  std::vector<double> values;
  try {
    values.reserve(std::min(n, kChunk));
    while (values.size() < n) {
      const std::size_t count = std::min(kChunk, n - values.size());
      const std::size_t at = values.size();
      values.resize(at + count);
      const UINT bytes = UINT(count * sizeof(double));
      if (ar.Read(values.data() + at, bytes) != bytes) AfxThrowArchiveException(CArchiveException::endOfFile);
    }
  } catch (const std::bad_alloc&) {
    AfxThrowMemoryException();
  }
  double* data = Allocate(n);
  std::memcpy(data, values.data(), n * sizeof(double));
  m_data = data;
  m_cols = cols;
  m_rows = rows;
}

bool CMatrix::GetProperties(IClassProperty* bag) const {
  if (!bag) return false;
  bag->AddAttribute(L"col", m_cols);
  bag->AddAttribute(L"row", m_rows);
  if (m_cols >= 1 && m_rows >= 1) {
    const std::size_t n = ElementCount(m_cols, m_rows);
    if (n > std::size_t(std::numeric_limits<int>::max())) return false;
    CVariant data;
    data.SetArray(m_data, int(n));
    bag->AddVariantAttribute(L"MatrixData", data);
  }
  return true;
}

bool CMatrix::SetProperties(IClassProperty* bag) {
  if (!bag) return false;
  int cols = m_cols;
  int rows = m_rows;
  if (!bag->GetAttribute(L"col", cols) && bag->IsResetMissing()) cols = -1;
  if (!bag->GetAttribute(L"row", rows) && bag->IsResetMissing()) rows = -1;
  if (cols < 1 || rows < 1) {
    Clear();
    m_cols = cols;
    m_rows = rows;
    return true;
  }
  // The array decides the buffer; it must match the stated shape, or every
  // later access would run past the data.
  CVariant data;
  const std::size_t n = ElementCount(cols, rows);
  const int count =
      bag->GetVariantAttribute(L"MatrixData", data) ? data.GetArray(static_cast<double*>(nullptr), 0) : -1;
  if (count < 0 || std::size_t(count) != n) {
    Clear();
    m_cols = m_rows = -1;
    return false;
  }
  double* values = Allocate(n);
  data.GetArray(values, count);
  Clear();
  m_data = values;
  m_cols = cols;
  m_rows = rows;
  return true;
}

uint64_t CMatrix::Measure() const { return sizeof(*this) + ElementCount(m_cols, m_rows) * sizeof(double); }

}  // namespace Kernel
