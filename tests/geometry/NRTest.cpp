// The decompositions are checked against Eigen as an independent reference:
// reconstruction, singular values as sets, orthogonality, and solutions.
#include <kernel/NR.h>

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace {

using Eigen::MatrixXd;
using Eigen::VectorXd;
using NR::NRMat;
using NR::NRVec;

MatrixXd ToEigen(const NRMat<double>& m) {
  MatrixXd out(m.nrows(), m.ncols());
  for (int r = 0; r < m.nrows(); ++r)
    for (int c = 0; c < m.ncols(); ++c) out(r, c) = m[r][c];
  return out;
}

NRMat<double> FromEigen(const MatrixXd& m) {
  NRMat<double> out(int(m.rows()), int(m.cols()));
  for (int r = 0; r < m.rows(); ++r)
    for (int c = 0; c < m.cols(); ++c) out[r][c] = m(r, c);
  return out;
}

MatrixXd Random(int rows, int cols, unsigned seed, double scale = 1.0) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  MatrixXd m(rows, cols);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) m(r, c) = dist(rng) * scale;
  return m;
}

// The symmetric tridiagonal matrix with `diag` on the diagonal and off[i]
// coupling i and i+1, and the d/e vectors tqli takes for it (e[0] unused).
MatrixXd Tridiagonal(const std::vector<double>& diag, const std::vector<double>& off, NRVec<double>& d,
                     NRVec<double>& e) {
  const int n = int(diag.size());
  d = NRVec<double>(diag.data(), n);
  e = NRVec<double>(0.0, n);
  MatrixXd T = MatrixXd::Zero(n, n);
  for (int i = 0; i < n; ++i) T(i, i) = diag[i];
  for (int i = 0; i + 1 < n; ++i) T(i, i + 1) = T(i + 1, i) = e[i + 1] = off[i];
  return T;
}

struct SvdCase {
  const char* name;
  MatrixXd a;
};

std::vector<SvdCase> SvdCases() {
  std::vector<SvdCase> cases;
  cases.push_back({"1x1", MatrixXd::Constant(1, 1, -3.5)});
  cases.push_back({"3x3", Random(3, 3, 1)});
  cases.push_back({"4x4", Random(4, 4, 2)});
  cases.push_back({"16x16", Random(16, 16, 3)});
  cases.push_back({"64x64", Random(64, 64, 4)});
  cases.push_back({"tall 7x3", Random(7, 3, 5)});
  cases.push_back({"wide 3x7", Random(3, 7, 6)});
  cases.push_back({"row vector", Random(1, 5, 7)});
  cases.push_back({"column vector", Random(5, 1, 8)});
  MatrixXd rankDeficient = Random(6, 4, 9);
  rankDeficient.col(3) = rankDeficient.col(0) * 2.0 - rankDeficient.col(1);
  cases.push_back({"rank deficient", rankDeficient});
  cases.push_back({"zero", MatrixXd::Zero(4, 3)});
  cases.push_back({"huge entries", Random(5, 5, 10, 1e150)});
  cases.push_back({"tiny entries", Random(5, 5, 11, 1e-150)});
  MatrixXd graded = Random(6, 6, 12);
  for (int c = 0; c < 6; ++c) graded.col(c) *= std::pow(10.0, -2 * c);
  cases.push_back({"graded columns", graded});
  MatrixXd repeated = MatrixXd::Identity(5, 5);
  repeated(4, 4) = 2.0;
  cases.push_back({"repeated singular values", repeated});
  return cases;
}

TEST(NRSvdcmp, MatchesEigenOnAssortedShapes) {
  for (const SvdCase& c : SvdCases()) {
    SCOPED_TRACE(c.name);
    const int m = int(c.a.rows());
    const int n = int(c.a.cols());
    NRMat<double> a = FromEigen(c.a);
    NRVec<double> w;
    NRMat<double> v;
    ASSERT_TRUE(NR::svdcmp(a, w, v));
    ASSERT_EQ(w.size(), n);
    ASSERT_EQ(v.nrows(), n);
    ASSERT_EQ(v.ncols(), n);
    ASSERT_EQ(a.nrows(), m);

    const MatrixXd U = ToEigen(a);
    const MatrixXd V = ToEigen(v);
    VectorXd W(n);
    for (int i = 0; i < n; ++i) W[i] = w[i];
    const double norm = std::max(c.a.norm(), std::numeric_limits<double>::min());

    // Reconstruction U W V^T = A.
    const MatrixXd back = U * W.asDiagonal() * V.transpose();
    EXPECT_LE((back - c.a).norm(), 1e-12 * norm);

    // Singular values are non-negative and equal Eigen's as a set.
    for (int i = 0; i < n; ++i) EXPECT_GE(w[i], 0.0);
    Eigen::JacobiSVD<MatrixXd> ref(c.a);
    std::vector<double> ours(W.data(), W.data() + n);
    std::sort(ours.rbegin(), ours.rend());
    const VectorXd& theirs = ref.singularValues();  // descending, min(m, n) of them
    for (int i = 0; i < n; ++i) {
      const double expected = i < theirs.size() ? theirs[i] : 0.0;
      EXPECT_NEAR(ours[i], expected, 1e-12 * norm) << "singular value " << i;
    }

    // V is orthogonal; U's columns belonging to non-zero w are orthonormal.
    EXPECT_LE((V.transpose() * V - MatrixXd::Identity(n, n)).norm(), 1e-12 * n);
    for (int i = 0; i < n; ++i) {
      if (W[i] <= 1e-12 * norm) continue;
      for (int j = 0; j < n; ++j) {
        if (W[j] <= 1e-12 * norm) continue;
        EXPECT_NEAR(U.col(i).dot(U.col(j)), i == j ? 1.0 : 0.0, 1e-12 * m) << i << "," << j;
      }
    }
  }
}

TEST(NRSvdcmp, LeavesSingularValuesUnsortedAndSignsPositive) {
  // A diagonal matrix is already bidiagonal: every value converges where it
  // stands, negative ones are flipped together with their column of V, and
  // nothing reorders them.
  NRMat<double> a(0.0, 3, 3);
  a[0][0] = 1.0;
  a[1][1] = -3.0;
  a[2][2] = 2.0;
  NRVec<double> w;
  NRMat<double> v;
  ASSERT_TRUE(NR::svdcmp(a, w, v));
  EXPECT_EQ(std::vector<double>(w.data(), w.data() + 3), (std::vector<double>{1.0, 3.0, 2.0}));
  // U * 3 * V^T must restore the -3: exactly one of U, V carries the sign.
  EXPECT_DOUBLE_EQ(a[1][1] * w[1] * v[1][1], -3.0);
}

TEST(NRSvdcmp, EmptyMatrixSucceeds) {
  NRMat<double> a;
  NRVec<double> w(3);
  NRMat<double> v(3, 3);
  EXPECT_TRUE(NR::svdcmp(a, w, v));
  EXPECT_EQ(w.size(), 0);
  EXPECT_EQ(v.nrows(), 0);
}

TEST(NRSvbksb, SolvesSquareAndLeastSquaresSystems) {
  struct Case {
    const char* name;
    int rows, cols;
    unsigned seed;
  } cases[] = {{"square 5", 5, 5, 21}, {"square 16", 16, 16, 22}, {"overdetermined 12x4", 12, 4, 23}};
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const MatrixXd A = Random(c.rows, c.cols, c.seed);
    const VectorXd b = Random(c.rows, 1, c.seed + 100);
    NRMat<double> u = FromEigen(A);
    NRVec<double> w;
    NRMat<double> v;
    ASSERT_TRUE(NR::svdcmp(u, w, v));
    NRVec<double> nb(b.data(), c.rows);
    NRVec<double> x;
    NR::svbksb(u, w, v, nb, x);
    ASSERT_EQ(x.size(), c.cols);
    const VectorXd expected = A.bdcSvd(Eigen::ComputeThinU | Eigen::ComputeThinV).solve(b);
    for (int i = 0; i < c.cols; ++i) EXPECT_NEAR(x[i], expected[i], 1e-10 * (1.0 + std::fabs(expected[i])));
  }
}

TEST(NRSvbksb, ZeroedSingularValueGivesMinimumNormSolution) {
  // Rank-one system: x1 + x2 = 2 (twice). The minimum-norm solution is
  // (1, 1); a solver that divides by the zero singular value would blow up.
  NRMat<double> u(1.0, 2, 2);
  NRVec<double> w;
  NRMat<double> v;
  ASSERT_TRUE(NR::svdcmp(u, w, v));
  const double wmax = std::max(w[0], w[1]);
  for (int i = 0; i < 2; ++i)
    if (w[i] < 1e-12 * wmax) w[i] = 0.0;
  NRVec<double> b(2.0, 2);
  NRVec<double> x;
  NR::svbksb(u, w, v, b, x);
  EXPECT_NEAR(x[0], 1.0, 1e-14);
  EXPECT_NEAR(x[1], 1.0, 1e-14);
}

void Polynomial(double x, NRVec<double>& p) {
  double term = 1.0;
  for (int j = 0; j < p.size(); ++j, term *= x) p[j] = term;
}

TEST(NRSvdfit, PolynomialFitMatchesEigenWeightedLeastSquares) {
  std::mt19937 rng(31);
  std::normal_distribution<double> noise(0.0, 0.05);
  const int points = 40;
  NRVec<double> x(points), y(points), sig(points);
  for (int i = 0; i < points; ++i) {
    x[i] = -2.0 + 4.0 * i / (points - 1);
    sig[i] = 0.5 + 0.02 * i;
    y[i] = 1.5 - 0.7 * x[i] + 0.25 * x[i] * x[i] * x[i] + noise(rng);
  }
  const int ma = 4;
  NRVec<double> a(ma);
  NRMat<double> u, v;
  NRVec<double> w;
  double chisq = -1.0;
  ASSERT_TRUE(NR::svdfit(x, y, sig, a, u, v, w, chisq, Polynomial));

  MatrixXd J(points, ma);
  VectorXd rhs(points);
  for (int i = 0; i < points; ++i) {
    for (int j = 0; j < ma; ++j) J(i, j) = std::pow(x[i], j) / sig[i];
    rhs[i] = y[i] / sig[i];
  }
  const VectorXd expected = J.colPivHouseholderQr().solve(rhs);
  for (int j = 0; j < ma; ++j) EXPECT_NEAR(a[j], expected[j], 1e-11) << "coefficient " << j;
  EXPECT_NEAR(chisq, (J * expected - rhs).squaredNorm(), 1e-10);

  // Covariance = (J^T J)^-1 for a full-rank design matrix.
  NRMat<double> cvm;
  NR::svdvar(v, w, cvm);
  const MatrixXd cov = (J.transpose() * J).inverse();
  for (int i = 0; i < ma; ++i)
    for (int j = 0; j < ma; ++j) EXPECT_NEAR(cvm[i][j], cov(i, j), 1e-10 * (1.0 + std::fabs(cov(i, j))));
}

TEST(NRSvdfit, DegenerateBasisGivesMinimumNormFit) {
  // Basis {1, x, x}: the two x coefficients are not separable; the fit
  // must split the slope evenly (minimum norm) rather than fail.
  const int points = 10;
  NRVec<double> x(points), y(points), sig(1.0, points);
  for (int i = 0; i < points; ++i) {
    x[i] = i;
    y[i] = 3.0 + 2.0 * i;
  }
  NRVec<double> a(3);
  NRMat<double> u, v;
  NRVec<double> w;
  double chisq = -1.0;
  ASSERT_TRUE(NR::svdfit(x, y, sig, a, u, v, w, chisq, [](double xv, NRVec<double>& p) {
    p[0] = 1.0;
    p[1] = xv;
    p[2] = xv;
  }));
  for (int j = 0; j < 3; ++j) EXPECT_NEAR(a[j], j == 0 ? 3.0 : 1.0, 1e-10) << j;
  EXPECT_NEAR(chisq, 0.0, 1e-18);
  EXPECT_EQ(std::count(w.data(), w.data() + 3, 0.0), 1);
}

TEST(NRSvdfit, RejectsInconsistentInput) {
  NRVec<double> x(5, 4), y(1.0, 3), sig(1.0, 4), a(2);
  NRMat<double> u, v;
  NRVec<double> w;
  double chisq = 0.0;
  EXPECT_FALSE(NR::svdfit(x, y, sig, a, u, v, w, chisq, Polynomial));  // y too short
  NRVec<double> none;
  EXPECT_FALSE(NR::svdfit(x, sig, sig, none, u, v, w, chisq, Polynomial));  // no coefficients
}

TEST(NRTqli, EigenpairsOfTridiagonalMatrices) {
  struct Case {
    const char* name;
    std::vector<double> diag, off;  // off[i] couples i and i+1
  } cases[] = {
      {"1x1", {4.0}, {}},
      {"2x2", {2.0, 1.0}, {3.0}},
      {"discrete laplacian", {2, 2, 2, 2, 2, 2}, {-1, -1, -1, -1, -1}},
      {"already diagonal", {5, -1, 3}, {0, 0}},
      {"split in the middle", {1, 2, 3, 4}, {0.5, 0.0, 0.25}},
      {"wilkinson W7+", {3, 2, 1, 0, 1, 2, 3}, {1, 1, 1, 1, 1, 1}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const int n = int(c.diag.size());
    NRVec<double> d, e;
    const MatrixXd T = Tridiagonal(c.diag, c.off, d, e);
    NRMat<double> z = FromEigen(MatrixXd::Identity(n, n));
    ASSERT_TRUE(NR::tqli(d, e, z));
    Eigen::SelfAdjointEigenSolver<MatrixXd> ref(T);
    std::vector<double> ours(d.data(), d.data() + n);
    std::sort(ours.begin(), ours.end());
    for (int i = 0; i < n; ++i) EXPECT_NEAR(ours[i], ref.eigenvalues()[i], 1e-13 * (1 + T.norm()));
    const MatrixXd Z = ToEigen(z);
    for (int k = 0; k < n; ++k) {
      EXPECT_LE((T * Z.col(k) - d[k] * Z.col(k)).norm(), 1e-13 * (1 + T.norm())) << "pair " << k;
      EXPECT_NEAR(Z.col(k).norm(), 1.0, 1e-13);
    }
  }
}

TEST(NRTqli, TransformsGivenBasis) {
  // With z = Q on input the eigenvectors come out as Q times those of the
  // tridiagonal matrix, i.e. eigenvectors of Q T Q^T.
  const int n = 5;
  const MatrixXd Q = Eigen::HouseholderQR<MatrixXd>(Random(n, n, 41)).householderQ();
  NRVec<double> d, e;
  const MatrixXd S = Q * Tridiagonal({1, 4, 2, 8, 5}, {0.3, -1.2, 0.7, 2.0}, d, e) * Q.transpose();
  NRMat<double> z = FromEigen(Q);
  ASSERT_TRUE(NR::tqli(d, e, z));
  const MatrixXd Z = ToEigen(z);
  for (int k = 0; k < n; ++k) EXPECT_LE((S * Z.col(k) - d[k] * Z.col(k)).norm(), 1e-12);
}

TEST(NRContainers, NegativeExtentsMakeEmptyMatrices) {
  const NRMat<double> bad(-1, 5);  // not a huge allocation from a wrapped size
  EXPECT_EQ(bad.nrows(), 0);
  EXPECT_EQ(bad.ncols(), 0);
  EXPECT_EQ(NRVec<double>(-3).size(), 0);
}

}  // namespace
