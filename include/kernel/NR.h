#pragma once
// Small dense numerical routines: vectors and matrices of a value type, and
// the singular value decomposition family with a symmetric tridiagonal
// eigen-solver. CMatrix uses these; they are exported for callers that want
// the decomposition pieces directly.
//
// Conventions:
// - NRVec<T> is a vector of n values, indexed from 0.
// - NRMat<T> is a row-major matrix; m[i] is a pointer to row i, so m[i][j]
//   is the element in row i, column j.
// - Allocation failure throws std::bad_alloc (the containers are plain
//   value types and carry no framework dependency).
#include <kernel/Export.h>

#include <algorithm>
#include <cstddef>
#include <functional>
#include <utility>

namespace NR {

template <class T>
class NRVec {
 public:
  NRVec() = default;
  explicit NRVec(int n) : m_n(n > 0 ? n : 0), m_v(m_n ? new T[m_n] : nullptr) {}
  NRVec(const T& value, int n) : NRVec(n) { std::fill(m_v, m_v + m_n, value); }
  NRVec(const T* values, int n) : NRVec(n) { std::copy(values, values + m_n, m_v); }
  NRVec(const NRVec& other) : NRVec(other.m_v, other.m_n) {}
  NRVec(NRVec&& other) noexcept : m_n(std::exchange(other.m_n, 0)), m_v(std::exchange(other.m_v, nullptr)) {}
  NRVec& operator=(const NRVec& other) {
    if (this != &other) {
      if (m_n != other.m_n) NRVec(other.m_n).swap(*this);
      std::copy(other.m_v, other.m_v + m_n, m_v);
    }
    return *this;
  }
  NRVec& operator=(NRVec&& other) noexcept {
    NRVec(std::move(other)).swap(*this);
    return *this;
  }
  NRVec& operator=(const T& value) {
    std::fill(m_v, m_v + m_n, value);
    return *this;
  }
  ~NRVec() { delete[] m_v; }

  void swap(NRVec& other) noexcept {
    std::swap(m_n, other.m_n);
    std::swap(m_v, other.m_v);
  }
  T& operator[](int i) { return m_v[i]; }
  const T& operator[](int i) const { return m_v[i]; }
  int size() const { return m_n; }
  T* data() { return m_v; }
  const T* data() const { return m_v; }

 private:
  int m_n = 0;
  T* m_v = nullptr;
};

template <class T>
class NRMat {
 public:
  NRMat() = default;
  NRMat(int rows, int cols)
      : m_rows(rows > 0 && cols > 0 ? rows : 0),
        m_cols(rows > 0 && cols > 0 ? cols : 0),
        m_v(m_rows ? new T[std::size_t(m_rows) * std::size_t(m_cols)] : nullptr) {}
  NRMat(const T& value, int rows, int cols) : NRMat(rows, cols) { std::fill(m_v, m_v + count(), value); }
  // values holds rows * cols elements in row-major order.
  NRMat(const T* values, int rows, int cols) : NRMat(rows, cols) { std::copy(values, values + count(), m_v); }
  NRMat(const NRMat& other) : NRMat(other.m_v, other.m_rows, other.m_cols) {}
  NRMat(NRMat&& other) noexcept
      : m_rows(std::exchange(other.m_rows, 0)),
        m_cols(std::exchange(other.m_cols, 0)),
        m_v(std::exchange(other.m_v, nullptr)) {}
  NRMat& operator=(const NRMat& other) {
    if (this != &other) {
      if (m_rows != other.m_rows || m_cols != other.m_cols) NRMat(other.m_rows, other.m_cols).swap(*this);
      std::copy(other.m_v, other.m_v + count(), m_v);
    }
    return *this;
  }
  NRMat& operator=(NRMat&& other) noexcept {
    NRMat(std::move(other)).swap(*this);
    return *this;
  }
  NRMat& operator=(const T& value) {
    std::fill(m_v, m_v + count(), value);
    return *this;
  }
  ~NRMat() { delete[] m_v; }

  void swap(NRMat& other) noexcept {
    std::swap(m_rows, other.m_rows);
    std::swap(m_cols, other.m_cols);
    std::swap(m_v, other.m_v);
  }
  T* operator[](int i) { return m_v + std::size_t(i) * std::size_t(m_cols); }
  const T* operator[](int i) const { return m_v + std::size_t(i) * std::size_t(m_cols); }
  int nrows() const { return m_rows; }
  int ncols() const { return m_cols; }
  T* data() { return m_v; }
  const T* data() const { return m_v; }

 private:
  std::size_t count() const { return std::size_t(m_rows) * std::size_t(m_cols); }

  int m_rows = 0;
  int m_cols = 0;
  T* m_v = nullptr;
};

// Singular value decomposition A = U * diag(w) * V^T by Householder
// bidiagonalisation and implicitly shifted QR sweeps (Golub-Reinsch).
// a (m x n, any m and n) is replaced by U (m x n, orthonormal columns where
// w is non-zero), w (n) receives the singular values, non-negative but NOT
// sorted, and v (n x n) receives V itself, not its transpose. w and v are
// resized when their shapes differ. Returns false when a singular value
// failed to converge within 75 sweeps (a, w and v then hold partial
// results); for finite input that does not happen in practice.
NK_API bool svdcmp(NRMat<double>& a, NRVec<double>& w, NRMat<double>& v);

// Solves A x = b for x given the decomposition from svdcmp, treating zero
// singular values as infinite: the result is the least-squares solution of
// smallest norm when the caller has zeroed the negligible w's first.
// x is resized to v's order when needed.
NK_API void svbksb(const NRMat<double>& u, const NRVec<double>& w, const NRMat<double>& v, const NRVec<double>& b,
                   NRVec<double>& x);

// Basis functions for svdfit: fill p[0..p.size()-1] with the basis values at x.
using BasisFunction = std::function<void(double x, NRVec<double>& p)>;

// Weighted linear least-squares fit of y(x) = sum a[j] * basis_j(x) over
// the points (x[i], y[i]) with standard deviations sig[i]. The number of
// coefficients is a.size(). Singular values below 1e-13 times the largest
// are set to zero before solving, so a degenerate basis gives the
// minimum-norm fit instead of blowing up. u, v, w receive the decomposition
// of the design matrix (for svdvar); chisq the weighted residual sum.
// Returns false when the decomposition failed or the inputs disagree in
// length (fewer points than y or sig values, or no coefficients).
NK_API bool svdfit(const NRVec<double>& x, const NRVec<double>& y, const NRVec<double>& sig, NRVec<double>& a,
                   NRMat<double>& u, NRMat<double>& v, NRVec<double>& w, double& chisq, const BasisFunction& funcs);

// Covariance matrix of the fitted parameters from svdfit's v and w:
// cvm[i][j] = sum over k with w[k] != 0 of v[i][k] v[j][k] / w[k]^2.
// cvm is resized to the order of v when needed.
NK_API void svdvar(const NRMat<double>& v, const NRVec<double>& w, NRMat<double>& cvm);

// Eigenvalues and eigenvectors of a symmetric tridiagonal matrix by the QL
// method with implicit shifts. On input d holds the diagonal and e[i]
// (i = 1..n-1) the element between rows i-1 and i; e[0] is ignored and e is
// overwritten. On output d holds the eigenvalues (unsorted). z must be n x n:
// pass the identity to get the eigenvectors of the tridiagonal matrix, or
// the matrix that reduced a full symmetric matrix to tridiagonal form to get
// that matrix's eigenvectors; column k of z is then the eigenvector of d[k].
// Returns false when an eigenvalue failed to converge in 60 iterations.
NK_API bool tqli(NRVec<double>& d, NRVec<double>& e, NRMat<double>& z);

}  // namespace NR
