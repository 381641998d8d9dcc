#include <kernel/NR.h>

#include <cmath>
#include <limits>
#include <vector>

namespace NR {

namespace {

// sqrt(a^2 + b^2) without overflow or underflow in the squares. std::hypot
// is correctly rounded in glibc and several times slower; the rotations
// below only need a faithful value.
inline double Pythag(double a, double b) {
  const double x = std::fabs(a);
  const double y = std::fabs(b);
  if (x > y) {
    const double r = y / x;
    return x * std::sqrt(1.0 + r * r);
  }
  if (y == 0.0) return 0.0;
  const double r = x / y;
  return y * std::sqrt(1.0 + r * r);
}

// |magnitude| carrying the sign of sign (zero counts as positive).
inline double WithSign(double magnitude, double sign) {
  return sign >= 0.0 ? std::fabs(magnitude) : -std::fabs(magnitude);
}

// Columns p and q of the row-major rows x cols matrix m become
// (p*c + q*s, q*c - p*s): a plane rotation applied from the right.
inline void RotateColumns(double* m, int rows, int cols, int p, int q, double c, double s) {
  for (int r = 0; r < rows; ++r) {
    double* row = m + std::size_t(r) * cols;
    const double y = row[p];
    const double z = row[q];
    row[p] = y * c + z * s;
    row[q] = z * c - y * s;
  }
}

}  // namespace

bool svdcmp(NRMat<double>& a, NRVec<double>& w, NRMat<double>& v) {
  const int m = a.nrows();
  const int n = a.ncols();
  if (w.size() != n) w = NRVec<double>(n);
  if (v.nrows() != n || v.ncols() != n) v = NRMat<double>(n, n);
  if (n == 0) return true;

  double* const A = a.data();
  double* const V = v.data();
  double* const d = w.data();
  // e[i] couples columns i-1 and i of the bidiagonal matrix (e[0] stays 0);
  // t is scratch for row-wise accumulation of dot products.
  std::vector<double> scratch(2 * std::size_t(n));
  double* const e = scratch.data();
  double* const t = e + n;
  auto at = [A, n](int r, int c) -> double& { return A[std::size_t(r) * n + c]; };

  // 1. Householder bidiagonalisation. Column i is reflected onto the
  // diagonal from the left, then row i onto the superdiagonal from the
  // right. Each reflector H = I + u u^T / h (h = -|u|^2 / 2) is kept in the
  // part of a it annihilated; the column or row is scaled by the sum of its
  // magnitudes first so the squares can neither overflow nor underflow.
  double norm = 0.0;
  double g = 0.0;
  double scale = 0.0;
  for (int i = 0; i < n; ++i) {
    e[i] = scale * g;
    g = scale = 0.0;
    if (i < m) {
      for (int k = i; k < m; ++k) scale += std::fabs(at(k, i));
      if (scale != 0.0) {
        double s = 0.0;
        for (int k = i; k < m; ++k) {
          at(k, i) /= scale;
          s += at(k, i) * at(k, i);
        }
        const double f = at(i, i);
        g = -WithSign(std::sqrt(s), f);
        const double h = f * g - s;
        at(i, i) = f - g;
        if (i + 1 < n) {
          // t[j] = u . column j, accumulated row by row to stay in cache.
          for (int j = i + 1; j < n; ++j) t[j] = 0.0;
          for (int k = i; k < m; ++k) {
            const double uk = at(k, i);
            const double* row = &at(k, 0);
            for (int j = i + 1; j < n; ++j) t[j] += uk * row[j];
          }
          for (int j = i + 1; j < n; ++j) t[j] /= h;
          for (int k = i; k < m; ++k) {
            const double uk = at(k, i);
            double* row = &at(k, 0);
            for (int j = i + 1; j < n; ++j) row[j] += t[j] * uk;
          }
        }
        for (int k = i; k < m; ++k) at(k, i) *= scale;
      }
    }
    d[i] = scale * g;
    g = scale = 0.0;
    if (i < m && i + 1 < n) {
      double* const ri = &at(i, 0);
      for (int k = i + 1; k < n; ++k) scale += std::fabs(ri[k]);
      if (scale != 0.0) {
        double s = 0.0;
        for (int k = i + 1; k < n; ++k) {
          ri[k] /= scale;
          s += ri[k] * ri[k];
        }
        const double f = ri[i + 1];
        g = -WithSign(std::sqrt(s), f);
        const double h = f * g - s;
        ri[i + 1] = f - g;
        for (int k = i + 1; k < n; ++k) t[k] = ri[k] / h;
        for (int j = i + 1; j < m; ++j) {
          double* rj = &at(j, 0);
          double dot = 0.0;
          for (int k = i + 1; k < n; ++k) dot += rj[k] * ri[k];
          for (int k = i + 1; k < n; ++k) rj[k] += dot * t[k];
        }
        for (int k = i + 1; k < n; ++k) ri[k] *= scale;
      }
    }
    norm = std::max(norm, std::fabs(d[i]) + std::fabs(e[i]));
  }

  // 2. V = R0 R1 ... R(n-2), built from the innermost reflector outwards.
  // With u the stored (unscaled) reflector and e its resulting
  // superdiagonal, h = u[i+1] * e, which avoids keeping h.
  auto vat = [V, n](int r, int c) -> double& { return V[std::size_t(r) * n + c]; };
  for (int i = n - 1; i >= 0; --i) {
    if (i + 1 < n) {
      const double gi = e[i + 1];
      if (gi != 0.0) {
        const double* ri = &at(i, 0);
        for (int j = i + 1; j < n; ++j) vat(j, i) = (ri[j] / ri[i + 1]) / gi;
        for (int j = i + 1; j < n; ++j) t[j] = 0.0;
        for (int k = i + 1; k < n; ++k) {
          const double uk = ri[k];
          const double* vk = &vat(k, 0);
          for (int j = i + 1; j < n; ++j) t[j] += uk * vk[j];
        }
        for (int k = i + 1; k < n; ++k) {
          const double vki = vat(k, i);
          double* vk = &vat(k, 0);
          for (int j = i + 1; j < n; ++j) vk[j] += t[j] * vki;
        }
      }
      for (int j = i + 1; j < n; ++j) vat(i, j) = vat(j, i) = 0.0;
    }
    vat(i, i) = 1.0;
  }

  // 3. U = L0 L1 ... applied to the first n unit columns, in place.
  // Row i right of the diagonal held the right reflector and is cleared
  // first; h = u[i] * d[i] for the same reason as above.
  for (int i = std::min(m, n) - 1; i >= 0; --i) {
    double* ri = &at(i, 0);
    for (int j = i + 1; j < n; ++j) ri[j] = 0.0;
    const double gi = d[i];
    if (gi != 0.0) {
      const double inv = 1.0 / gi;
      if (i + 1 < n) {
        for (int j = i + 1; j < n; ++j) t[j] = 0.0;
        for (int k = i + 1; k < m; ++k) {
          const double uk = at(k, i);
          const double* rk = &at(k, 0);
          for (int j = i + 1; j < n; ++j) t[j] += uk * rk[j];
        }
        const double denom = at(i, i);
        for (int j = i + 1; j < n; ++j) t[j] = (t[j] / denom) * inv;
        for (int k = i; k < m; ++k) {
          const double uk = at(k, i);
          double* rk = &at(k, 0);
          for (int j = i + 1; j < n; ++j) rk[j] += t[j] * uk;
        }
      }
      for (int k = i; k < m; ++k) at(k, i) *= inv;
    } else {
      for (int k = i; k < m; ++k) at(k, i) = 0.0;
    }
    ri[i] += 1.0;
  }

  // 4. Diagonalise the bidiagonal matrix (d, e) by implicitly shifted QR
  // sweeps, deflating one singular value at a time from the bottom.
  const double tiny = std::numeric_limits<double>::epsilon() * norm;
  for (int k = n - 1; k >= 0; --k) {
    for (int iteration = 0;; ++iteration) {
      // Find the top l of the unreduced block ending at k: either e[l] is
      // negligible (always true at l = 0) or d[l-1] is, in which case e[l]
      // must be chased out of the matrix before the block splits.
      int l = k;
      bool chase = false;
      for (; l > 0; --l) {
        if (std::fabs(e[l]) <= tiny) break;
        if (std::fabs(d[l - 1]) <= tiny) {
          chase = true;
          break;
        }
      }
      if (chase) {
        // d[l-1] ~ 0: rotate row l-1 against rows l..k from the left; each
        // rotation moves the bulge in row l-1 one column to the right.
        double c = 0.0;
        double s = 1.0;
        for (int i = l; i <= k; ++i) {
          const double f = s * e[i];
          e[i] *= c;
          if (std::fabs(f) <= tiny) break;
          const double h = Pythag(f, d[i]);
          c = d[i] / h;
          s = -f / h;
          d[i] = h;
          RotateColumns(A, m, n, l - 1, i, c, s);
        }
      }
      const double z = d[k];
      if (l == k) {
        if (z < 0.0) {
          d[k] = -z;
          for (int r = 0; r < n; ++r) vat(r, k) = -vat(r, k);
        }
        break;
      }
      if (iteration >= 75) return false;

      // Wilkinson shift: the eigenvalue of the trailing 2x2 of B^T B closer
      // to its last diagonal element, folded into the first rotation's
      // (f, e[l+1]) pair scaled by 1/d[l].
      double x = d[l];
      double y = d[k - 1];
      double gk = e[k - 1];
      double h = e[k];
      double f = ((y - z) * (y + z) + (gk - h) * (gk + h)) / (2.0 * h * y);
      gk = Pythag(f, 1.0);
      f = ((x - z) * (x + z) + h * ((y / (f + WithSign(gk, f))) - h)) / x;

      // One Golub-Kahan sweep: alternate right and left rotations chase
      // the bulge from the top of the block to the bottom.
      double c = 1.0;
      double s = 1.0;
      for (int j = l; j < k; ++j) {
        const int i = j + 1;
        gk = e[i];
        y = d[i];
        h = s * gk;
        gk = c * gk;
        double r = Pythag(f, h);
        e[j] = r;
        c = f / r;
        s = h / r;
        f = x * c + gk * s;
        gk = gk * c - x * s;
        h = y * s;
        y *= c;
        RotateColumns(V, n, n, j, i, c, s);
        r = Pythag(f, h);
        d[j] = r;
        if (r != 0.0) {
          c = f / r;
          s = h / r;
        }
        f = c * gk + s * y;
        x = c * y - s * gk;
        RotateColumns(A, m, n, j, i, c, s);
      }
      e[l] = 0.0;
      e[k] = f;
      d[k] = x;
    }
  }
  return true;
}

void svbksb(const NRMat<double>& u, const NRVec<double>& w, const NRMat<double>& v, const NRVec<double>& b,
            NRVec<double>& x) {
  const int m = u.nrows();
  const int n = u.ncols();
  std::vector<double> tmp(std::size_t(n), 0.0);
  // tmp = diag(1/w) U^T b, skipping zero singular values.
  for (int i = 0; i < m; ++i) {
    const double* ui = u[i];
    const double bi = b[i];
    for (int j = 0; j < n; ++j) tmp[j] += ui[j] * bi;
  }
  for (int j = 0; j < n; ++j) tmp[j] = w[j] != 0.0 ? tmp[j] / w[j] : 0.0;
  if (x.size() != v.nrows()) x = NRVec<double>(v.nrows());
  for (int j = 0; j < v.nrows(); ++j) {
    const double* vj = v[j];
    double sum = 0.0;
    for (int k = 0; k < n; ++k) sum += vj[k] * tmp[k];
    x[j] = sum;
  }
}

bool svdfit(const NRVec<double>& x, const NRVec<double>& y, const NRVec<double>& sig, NRVec<double>& a,
            NRMat<double>& u, NRMat<double>& v, NRVec<double>& w, double& chisq, const BasisFunction& funcs) {
  const int points = x.size();
  const int ma = a.size();
  if (ma == 0 || points == 0 || y.size() < points || sig.size() < points) return false;
  constexpr double kTolerance = 1.0e-13;

  NRVec<double> basis(ma);
  NRVec<double> b(points);
  u = NRMat<double>(points, ma);
  for (int i = 0; i < points; ++i) {
    funcs(x[i], basis);
    const double inv = 1.0 / sig[i];
    for (int j = 0; j < ma; ++j) u[i][j] = basis[j] * inv;
    b[i] = y[i] * inv;
  }
  if (!svdcmp(u, w, v)) return false;
  double wmax = 0.0;
  for (int j = 0; j < ma; ++j) wmax = std::max(wmax, w[j]);
  const double threshold = kTolerance * wmax;
  for (int j = 0; j < ma; ++j)
    if (w[j] < threshold) w[j] = 0.0;
  svbksb(u, w, v, b, a);

  chisq = 0.0;
  for (int i = 0; i < points; ++i) {
    funcs(x[i], basis);
    double fit = 0.0;
    for (int j = 0; j < ma; ++j) fit += a[j] * basis[j];
    const double r = (y[i] - fit) / sig[i];
    chisq += r * r;
  }
  return true;
}

void svdvar(const NRMat<double>& v, const NRVec<double>& w, NRMat<double>& cvm) {
  const int ma = v.nrows();
  std::vector<double> inv2(static_cast<std::size_t>(ma));
  for (int k = 0; k < ma; ++k) inv2[k] = w[k] != 0.0 ? 1.0 / (w[k] * w[k]) : 0.0;
  if (cvm.nrows() != ma || cvm.ncols() != ma) cvm = NRMat<double>(ma, ma);
  for (int i = 0; i < ma; ++i) {
    for (int j = 0; j <= i; ++j) {
      double sum = 0.0;
      for (int k = 0; k < ma; ++k) sum += v[i][k] * v[j][k] * inv2[k];
      cvm[i][j] = cvm[j][i] = sum;
    }
  }
}

bool tqli(NRVec<double>& d, NRVec<double>& e, NRMat<double>& z) {
  const int n = d.size();
  if (n == 0) return true;
  // Renumber the off-diagonal so e[i] couples i and i+1.
  for (int i = 1; i < n; ++i) e[i - 1] = e[i];
  e[n - 1] = 0.0;
  const double eps = std::numeric_limits<double>::epsilon();
  const int zrows = z.nrows();

  for (int l = 0; l < n; ++l) {
    int iteration = 0;
    for (;;) {
      // Smallest m >= l whose off-diagonal is negligible splits the matrix.
      int m = l;
      for (; m < n - 1; ++m) {
        const double scale = std::fabs(d[m]) + std::fabs(d[m + 1]);
        if (std::fabs(e[m]) <= eps * scale) break;
      }
      if (m == l) break;
      if (iteration++ == 60) return false;

      // Wilkinson shift from the leading 2x2 of the block, then one QL sweep
      // from the bottom of the block upwards with plane rotations.
      double g = (d[l + 1] - d[l]) / (2.0 * e[l]);
      double r = Pythag(g, 1.0);
      g = d[m] - d[l] + e[l] / (g + WithSign(r, g));
      double s = 1.0;
      double c = 1.0;
      double p = 0.0;
      bool underflow = false;
      for (int i = m - 1; i >= l; --i) {
        const double f = s * e[i];
        const double b = c * e[i];
        r = Pythag(f, g);
        e[i + 1] = r;
        if (r == 0.0) {
          // The rotation degenerated: the block has already split at i+1.
          d[i + 1] -= p;
          e[m] = 0.0;
          underflow = true;
          break;
        }
        s = f / r;
        c = g / r;
        g = d[i + 1] - p;
        r = (d[i] - g) * s + 2.0 * c * b;
        p = s * r;
        d[i + 1] = g + p;
        g = c * r - b;
        for (int k = 0; k < zrows; ++k) {
          double* zk = z[k];
          const double zf = zk[i + 1];
          zk[i + 1] = s * zk[i] + c * zf;
          zk[i] = c * zk[i] - s * zf;
        }
      }
      if (underflow) continue;
      d[l] -= p;
      e[l] = g;
      e[m] = 0.0;
    }
  }
  return true;
}

}  // namespace NR
