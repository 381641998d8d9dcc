#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Matrix.h>

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <cstring>
#include <random>
#include <utility>
#include <vector>

namespace {

using Eigen::MatrixXd;
using Kernel::CMatrix;

CMatrix Make(int rows, int cols, std::initializer_list<double> values) {
  CMatrix m(cols, rows);
  EXPECT_EQ(values.size(), size_t(rows) * size_t(cols));
  int k = 0;
  for (double v : values) {
    if (k == rows * cols) break;
    m[k / cols][k % cols] = v, ++k;
  }
  return m;
}

CMatrix Random(int rows, int cols, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_real_distribution<double> dist(-1.0, 1.0);
  CMatrix m(cols, rows);
  for (int r = 0; r < rows; ++r)
    for (int c = 0; c < cols; ++c) m[r][c] = dist(rng);
  return m;
}

MatrixXd ToEigen(const CMatrix& m) {
  MatrixXd e(m.GetRowCount(), m.GetColCount());
  for (int r = 0; r < m.GetRowCount(); ++r)
    for (int c = 0; c < m.GetColCount(); ++c) e(r, c) = m.GetAt(r, c);
  return e;
}

// (rows, cols): one comparison per shape, printed readably on failure.
using Dims = std::pair<int, int>;
Dims Shape(const CMatrix& m) { return {m.GetRowCount(), m.GetColCount()}; }

double MaxDiff(const CMatrix& a, const MatrixXd& b) { return (ToEigen(a) - b).cwiseAbs().maxCoeff(); }

// An n x n identity whose last diagonal element is `last`: its determinant.
CMatrix IdentityEndingIn(int n, double last) {
  CMatrix m(n, n);
  m.SetIdentity();
  m[n - 1][n - 1] = last;
  return m;
}

TEST(Matrix, ColumnsComeFirstInConstructionRowFirstInAccess) {
  CMatrix m(3, 2);
  EXPECT_EQ(Shape(m), Dims(2, 3));
  EXPECT_FALSE(m.IsSquare());
  for (int k = 0; k < 6; ++k) m[k / 3][k % 3] = k;
  EXPECT_EQ(m.GetAt(1, 2), 5.0);  // the last element
  m.SetAt(0, 2, 9.0);
  EXPECT_EQ(m[0][2], 9.0);

  m.Create(2, 5);
  EXPECT_EQ(Shape(m), Dims(5, 2));
  m.Create(-1, 3);
  EXPECT_EQ(Shape(m), Dims(-1, -1));
  m.Clear();
  EXPECT_EQ(m.GetRowCount(), 0);
}

TEST(Matrix, ElementWiseOperationsAndProducts) {
  const CMatrix a = Make(2, 3, {1, 2, 3, 4, 5, 6});
  const CMatrix b = Make(3, 2, {7, 8, 9, 10, 11, 12});
  const CMatrix p = a * b;
  ASSERT_EQ(Shape(p), Dims(2, 2));
  EXPECT_EQ(ToEigen(p), ToEigen(a) * ToEigen(b));

  CMatrix pre = b;  // pre = a * b computed as b.PreMultiply(a)
  pre.PreMultiply(a);
  EXPECT_EQ(ToEigen(pre), ToEigen(p));
  CMatrix post = a;
  post.PostMultiply(b);
  EXPECT_EQ(ToEigen(post), ToEigen(p));

  CMatrix s = a + a;
  s *= 0.5;
  EXPECT_EQ(ToEigen(s), ToEigen(a));
  s /= 2.0;
  EXPECT_EQ(s.GetAt(1, 2), 3.0);

  CMatrix copy = a;
  copy[0][0] = 100.0;
  EXPECT_EQ(a.GetAt(0, 0), 1.0);
  copy.SwapRows(0, 1);
  EXPECT_EQ(copy.GetAt(0, 0), 4.0);
  EXPECT_EQ(copy.GetAt(1, 0), 100.0);

  CMatrix t;
  a.Transpose(t);
  EXPECT_EQ(ToEigen(t), ToEigen(a).transpose());
}

TEST(Matrix, ToleranceTests) {
  CMatrix id(3, 3);
  id.SetIdentity();
  EXPECT_TRUE(id.IsIdentity(0.0));
  EXPECT_FALSE(id.IsZero(0.5));
  id[2][1] = 1e-3;
  EXPECT_TRUE(id.IsIdentity(1e-3));  // |a - delta| <= tol passes at the boundary
  EXPECT_FALSE(id.IsIdentity(0.999e-3));

  CMatrix z(2, 4);
  z.SetZero();
  EXPECT_TRUE(z.IsZero(0.0));
  z[3][1] = -2e-9;
  EXPECT_TRUE(z.IsZero(2e-9));
  EXPECT_FALSE(z.IsZero(1e-9));

  CMatrix tall(2, 3);  // identity reaches as far as the diagonal does
  tall.SetIdentity();
  EXPECT_EQ(ToEigen(tall), MatrixXd::Identity(3, 2));

  const CMatrix empty;
  EXPECT_TRUE(empty.IsZero(0.0));
  EXPECT_TRUE(empty.IsIdentity(0.0));

  const double c = std::cos(0.3), s = std::sin(0.3);
  const CMatrix rot = Make(2, 2, {c, -s, s, c});
  EXPECT_TRUE(rot.IsOrthogonal(1e-15));
  CMatrix scaled = rot;
  scaled *= 1.001;
  EXPECT_FALSE(scaled.IsOrthogonal(1e-6));
  EXPECT_TRUE(scaled.IsOrthogonal(3e-3));
  EXPECT_FALSE(Make(2, 3, {1, 0, 0, 0, 1, 0}).IsOrthogonal(1e-9));  // not square
  EXPECT_FALSE(Make(2, 2, {1, 1, 0, 1}).IsOrthogonal(1e-9));
}

TEST(MatrixGauss, Cases) {
  struct Case {
    const char* name;
    CMatrix a, b;
    int result;
    std::vector<double> x;  // expected b on success
  };
  const Case cases[] = {
      {"regular system", Make(3, 3, {2, 1, -1, -3, -1, 2, -2, 1, 2}), Make(3, 1, {8, -11, -3}), 0, {2, 3, -1}},
      {"zero pivots swapped in", Make(3, 3, {0, 1, 0, 0, 0, 1, 1, 0, 0}), Make(3, 1, {1, 2, 3}), 0, {3, 1, 2}},
      // Without pivoting by magnitude the tiny pivot is used and x0 is
      // lost to cancellation: the exact answer is close to (1, 1).
      {"tiny pivot used as it is", Make(2, 2, {1e-20, 1, 1, 1}), Make(2, 1, {1, 2}), 0, {0, 1}},
      {"zero column below a zero pivot", Make(2, 2, {0, 1, 0, 1}), Make(2, 1, {1, 1}), 1, {}},
      {"singular after elimination", Make(2, 2, {1, 1, 1, 1}), Make(2, 1, {1, 2}), 1, {}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    CMatrix a = c.a, b = c.b;
    ASSERT_EQ(a.SolveGaussianElemination(b), c.result);
    for (size_t i = 0; i < c.x.size(); ++i) EXPECT_NEAR(b.GetAt(int(i), 0), c.x[i], 1e-14) << i;
  }
}

TEST(MatrixGauss, FirstNonZeroRowIsSwappedNotTheLargest) {
  CMatrix a = Make(3, 3, {0, 2, 1, 1, 1, 1, 4, 1, 2});
  CMatrix b = Make(3, 1, {3, 3, 7});
  ASSERT_EQ(a.SolveGaussianElemination(b), 0);
  // Row 1 came up, not row 2 with the 4, and a is triangularised in place.
  for (int j = 0; j < 3; ++j) EXPECT_EQ(a.GetAt(0, j), 1.0) << j;
  for (int i = 1; i < 3; ++i)
    for (int j = 0; j < i; ++j) EXPECT_EQ(a.GetAt(i, j), 0.0) << i << "," << j;
  for (int i = 0; i < 3; ++i) EXPECT_NEAR(b.GetAt(i, 0), 1.0, 1e-15);
}

TEST(MatrixGauss, WrongRightHandSideChangesNothing) {
  const CMatrix a0 = Make(2, 2, {0, 1, 1, 0});
  for (const CMatrix& b0 : {Make(2, 2, {1, 2, 3, 4}), Make(3, 1, {1, 2, 3}), CMatrix()}) {
    CMatrix a = a0, b = b0;
    EXPECT_EQ(a.SolveGaussianElemination(b), 1);
    EXPECT_EQ(ToEigen(a), ToEigen(a0));
    EXPECT_EQ(ToEigen(b), ToEigen(b0));
  }
}

TEST(MatrixDeterminant, MatchesEigenAndExpansionExactly) {
  EXPECT_EQ(CMatrix().Determinant(), 0.0);
  EXPECT_EQ(Make(1, 1, {-2.5}).Determinant(), -2.5);
  EXPECT_EQ(Make(2, 2, {1, 2, 3, 4}).Determinant(), -2.0);
  EXPECT_EQ(Make(3, 3, {2, 0, 0, 0, 3, 0, 0, 0, 4}).Determinant(), 24.0);
  EXPECT_EQ(Make(2, 3, {1, 2, 3, 4, 5, 6}).Determinant(), 0.0);  // not square
  for (int n = 2; n <= 8; ++n) {
    SCOPED_TRACE(n);
    const CMatrix m = Random(n, n, 100 + n);
    const double det = m.Determinant();
    EXPECT_NEAR(det, ToEigen(m).determinant(), 1e-13);
    // The written-out 3x3 and 4x4 paths must agree bit for bit with the
    // row-0 expansion through the minors.
    double expansion = 0.0;
    CMatrix minor;
    for (int j = 0; j < n; ++j) {
      m.Minor(0, j, minor);
      const double term = m.GetAt(0, j) * minor.Determinant();
      expansion += (j & 1) ? -term : term;
    }
    EXPECT_EQ(det, expansion);
  }
}

TEST(MatrixDeterminant, LargeMatricesByElimination) {
  for (int n : {9, 12, 40}) {
    SCOPED_TRACE(n);
    const CMatrix m = Random(n, n, 300 + n);
    const double ref = ToEigen(m).determinant();
    EXPECT_NEAR(m.Determinant(), ref, 1e-12 * std::fabs(ref));
  }
  CMatrix singular = Random(10, 10, 5);
  for (int c = 0; c < 10; ++c) singular[9][c] = singular[3][c] * 2.0;
  EXPECT_NEAR(singular.Determinant(), 0.0, 1e-14);
}

TEST(MatrixInverse, AllPathsMatchEigen) {
  for (int n : {1, 2, 3, 4, 5, 6, 7, 10, 33}) {
    SCOPED_TRACE(n);
    const CMatrix m = Random(n, n, 200 + n);
    CMatrix inv;
    ASSERT_TRUE(m.Inverse(inv, 1e-12));
    ASSERT_EQ(inv.GetRowCount(), n);
    const MatrixXd ref = ToEigen(m).inverse();
    EXPECT_LE(MaxDiff(inv, ref), 1e-12 * ref.cwiseAbs().maxCoeff());
    CMatrix self = m;  // in place
    ASSERT_TRUE(self.Inverse(self, 1e-12));
    EXPECT_LE(MaxDiff(self, ref), 1e-12 * ref.cwiseAbs().maxCoeff());
  }
}

TEST(MatrixInverse, FailsWithinTolerance) {
  struct Case {
    const char* name;
    CMatrix m;
    double tol;
    bool ok;
  };
  const Case cases[] = {
      {"2x2 singular", Make(2, 2, {1, 2, 2, 4}), 0.0, false},
      {"3x3 det 1e-10 below tol", IdentityEndingIn(3, 1e-10), 1e-9, false},
      {"3x3 det 1e-10 above tol", IdentityEndingIn(3, 1e-10), 1e-11, true},
      {"3x3 det equal to tol fails", IdentityEndingIn(3, 0.5), 0.5, false},
      {"4x4 below tol", IdentityEndingIn(4, 1e-10), 1e-9, false},
      {"4x4 above tol", IdentityEndingIn(4, 1e-10), 1e-11, true},
      {"5x5 below tol", IdentityEndingIn(5, 1e-10), 1e-9, false},
      {"5x5 above tol", IdentityEndingIn(5, 1e-10), 1e-11, true},
      {"9x9 below tol", IdentityEndingIn(9, 1e-10), 1e-9, false},
      {"9x9 exactly singular", IdentityEndingIn(9, 0.0), 0.0, false},
      {"not square", Make(2, 3, {1, 0, 0, 0, 1, 0}), 0.0, false},
      {"empty", CMatrix(), 0.0, false},
  };
  for (const Case& c : cases) {
    CMatrix out;
    EXPECT_EQ(c.m.Inverse(out, c.tol), c.ok) << c.name;
  }
}

TEST(MatrixCholesky, FactorsAndSolves) {
  const CMatrix r = Random(5, 5, 7);
  CMatrix rt;
  r.Transpose(rt);
  CMatrix spd = r * rt;
  for (int i = 0; i < 5; ++i) spd[i][i] += 1.0;
  CMatrix L;
  ASSERT_TRUE(spd.Cholesky(L));
  const MatrixXd l = ToEigen(L);
  EXPECT_TRUE(l.isLowerTriangular(0.0));
  EXPECT_LE((l * l.transpose() - ToEigen(spd)).cwiseAbs().maxCoeff(), 1e-14);
  EXPECT_LE((l - Eigen::LLT<MatrixXd>(ToEigen(spd)).matrixL().toDenseMatrix()).cwiseAbs().maxCoeff(), 1e-13);

  const CMatrix b = Random(5, 2, 8);
  CMatrix x;
  ASSERT_TRUE(spd.CholeskySolve(b, x));
  ASSERT_EQ(x.GetColCount(), 2);
  EXPECT_LE(MaxDiff(x, ToEigen(spd).llt().solve(ToEigen(b))), 1e-12);

  const struct {
    const char* name;
    CMatrix m;
  } failures[] = {{"indefinite", Make(2, 2, {1, 2, 2, 1})},
                  {"negative leading minor", Make(2, 2, {-1, 0, 0, 1})},
                  {"zero leading minor", Make(2, 2, {0, 0, 0, 1})},
                  {"not square", Make(1, 2, {1, 0})}};
  for (const auto& f : failures) {
    CMatrix out;
    EXPECT_FALSE(f.m.Cholesky(out)) << f.name;
    CMatrix ones(1, f.m.GetRowCount());
    for (int i = 0; i < f.m.GetRowCount(); ++i) ones[i][0] = 1.0;
    EXPECT_FALSE(f.m.CholeskySolve(ones, out)) << f.name;
  }
}

TEST(MatrixSVD, ReconstructsAndSolves) {
  const CMatrix a = Random(6, 4, 9);
  CMatrix U, W, V;
  ASSERT_TRUE(a.SVD(U, W, V));
  ASSERT_EQ(Shape(U), Dims(6, 4));
  ASSERT_EQ(Shape(W), Dims(4, 4));
  EXPECT_TRUE(V.IsOrthogonal(1e-13));
  for (int i = 0; i < 4; ++i)  // W is diagonal, singular values never negative
    for (int j = 0; j < 4; ++j) {
      if (i == j) {
        EXPECT_GE(W.GetAt(i, i), 0.0) << i;
      } else {
        EXPECT_EQ(W.GetAt(i, j), 0.0) << i << "," << j;
      }
    }
  CMatrix Vt;
  V.Transpose(Vt);
  EXPECT_LE(MaxDiff(U * W * Vt, ToEigen(a)), 1e-13);

  const CMatrix b = Random(6, 1, 10);
  CMatrix x;
  ASSERT_TRUE(a.Solve(b, x));
  EXPECT_LE(MaxDiff(x, ToEigen(a).colPivHouseholderQr().solve(ToEigen(b))), 1e-12);

  // Rank deficient: x + y = 2 twice gives the minimum-norm (1, 1).
  ASSERT_TRUE(Make(2, 2, {1, 1, 1, 1}).Solve(Make(2, 1, {2, 2}), x));
  EXPECT_NEAR(x.GetAt(0, 0), 1.0, 1e-14);
  EXPECT_NEAR(x.GetAt(1, 0), 1.0, 1e-14);
  EXPECT_FALSE(a.Solve(Random(5, 1, 1), x));  // b has the wrong row count
}

TEST(MatrixNR, ReadWriteKeepOrientation) {
  const CMatrix a = Make(2, 3, {1, 2, 3, 4, 5, 6});
  NR::NRMat<double> m;
  a.Write(m);
  ASSERT_EQ(m.nrows(), 2);
  ASSERT_EQ(m.ncols(), 3);
  EXPECT_EQ(m[1][0], 4.0);
  CMatrix back;
  back.Read(m);
  EXPECT_EQ(ToEigen(back), ToEigen(a));
}

// --- Archive form ----------------------------------------------------------

std::vector<BYTE> Store(CMatrix& m) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    m.Serialize(ar);
  }
  const BYTE* p = file.GetBufferPtr();
  return std::vector<BYTE>(p, p + file.GetLength());
}

void Load(std::vector<BYTE> bytes, CMatrix& m) {
  CMemFile file(bytes.empty() ? nullptr : bytes.data(), UINT(bytes.size()));
  CArchive ar(&file, CArchive::load);
  m.Serialize(ar);
}

TEST(MatrixArchive, ExactBytesAndRoundTrip) {
  CMatrix empty(0, 0);
  EXPECT_EQ(Store(empty), (std::vector<BYTE>{10, 0, 0, 0, 0, 0, 0, 0, 0}));

  CMatrix m = Make(2, 3, {1, 2, 3, 4, 5, -0.5});
  const std::vector<BYTE> bytes = Store(m);
  ASSERT_EQ(bytes.size(), 1u + 8u + 6u * 8u);
  EXPECT_EQ(bytes[0], 10);
  EXPECT_EQ(bytes[1], 3);  // columns first
  EXPECT_EQ(bytes[5], 2);
  double last;
  std::memcpy(&last, &bytes[1 + 8 + 5 * 8], 8);
  EXPECT_EQ(last, -0.5);

  CMatrix back;
  Load(bytes, back);
  EXPECT_EQ(back.GetColCount(), 3);
  EXPECT_EQ(ToEigen(back), ToEigen(m));

  CMatrix shapeless(-1, -1);
  CMatrix loaded = m;
  Load(Store(shapeless), loaded);
  EXPECT_EQ(Shape(loaded), Dims(-1, -1));
}

TEST(MatrixArchive, SchemasAndDamagedData) {
  const CMatrix original = Make(1, 2, {7, 8});
  {
    CMatrix m = original;  // an older schema: nothing more is read, nothing changes
    Load({9, 1, 0, 0, 0, 1, 0, 0, 0}, m);
    EXPECT_EQ(ToEigen(m), ToEigen(original));
  }
  const struct {
    const char* name;
    std::vector<BYTE> bytes;
    int cause;
  } bad[] = {
      {"newer schema", {11, 0, 0, 0, 0, 0, 0, 0, 0}, CArchiveException::badSchema},
      {"truncated data", {10, 2, 0, 0, 0, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 240, 63}, CArchiveException::endOfFile},
      {"truncated counts", {10, 2, 0, 0}, CArchiveException::endOfFile},
      {"enormous counts, no data", {10, 255, 255, 255, 127, 255, 255, 255, 127}, CArchiveException::endOfFile},
      {"negative count", {10, 251, 255, 255, 255, 2, 0, 0, 0}, CArchiveException::badIndex},
      {"one count without shape", {10, 255, 255, 255, 255, 2, 0, 0, 0}, CArchiveException::badIndex},
  };
  for (const auto& c : bad) {
    SCOPED_TRACE(c.name);
    CMatrix m = original;
    try {
      Load(c.bytes, m);
      ADD_FAILURE() << "no exception";
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, c.cause);
    }
    if (c.cause == CArchiveException::badSchema) continue;
    EXPECT_EQ(Shape(m), Dims(-1, -1));
  }
}

TEST(MatrixArchive, CreatableByName) {
  CObject* object = CRuntimeClass::CreateObject("CMatrix");
  ASSERT_NE(object, nullptr);
  EXPECT_TRUE(object->IsKindOf(RUNTIME_CLASS(CMatrix)));
  EXPECT_EQ(object->GetRuntimeClass(), CMatrix::GetThisClass());
  delete object;
}

}  // namespace
