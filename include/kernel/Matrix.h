#pragma once
// CMatrix: a dense, dynamically sized matrix of doubles for small linear
// algebra jobs: 3x3 and 4x4 transforms, linear systems, Cholesky
// factorisation and singular value decomposition.
//
// Shape: the constructor and Create take (columns, rows), in that order,
// while element access takes (row, column): CMatrix(3, 2) has 3 columns and
// 2 rows and GetAt(1, 2) is its last element. Storage is row-major in one
// malloc'ed block. A matrix with counts -1 has no shape (the state after a
// failed or partial load, or after Create with a negative count).
//
// Nothing checks that operand shapes agree except SolveGaussianElemination;
// mismatched shapes are the caller's error. Allocation failure throws
// CMemoryException. Numerical failures are reported by results.
//
// Persistence: Serialize writes the schema byte 10, the column count, the
// row count (4-byte little-endian each) and rows * columns doubles in
// row-major order. Loading an archive with an older schema byte reads
// nothing more and leaves the matrix as it was; a newer one throws
// CArchiveException (badSchema). A truncated archive throws (endOfFile)
// without first allocating what the counts claim, and negative counts
// other than the -1, -1 of a matrix without shape throw (badIndex); in both
// cases the matrix is left without shape.
//
// The property form is described at GetProperties.
//
// The class is reference counted (hold shared instances in CPtr<CMatrix>)
// and may equally live on the stack or by value.
#include <kernel/CObject.h>
#include <kernel/Export.h>
#include <kernel/NR.h>
#include <kernel/PropHandler.h>
#include <kernel/RefCount.h>

#include <cstddef>
#include <cstdint>

class CArchive;

namespace Kernel {

class NK_API CMatrix : public CObject, public CRefCount, public IPropHandler {
  DECLARE_SERIAL(CMatrix)

 public:
  CMatrix() noexcept;
  // Contents are uninitialised.
  CMatrix(int columns, int rows);
  CMatrix(const CMatrix& other);
  CMatrix(CMatrix&& other) noexcept;
  // Copies shape and data, reusing the buffer when the shapes are equal.
  CMatrix& operator=(const CMatrix& other);
  CMatrix& operator=(CMatrix&& other) noexcept;
  ~CMatrix() override;

  // --- Access and shape ---------------------------------------------------
  double* operator[](int r) const noexcept { return m_data + std::ptrdiff_t(r) * m_cols; }
  double GetAt(int r, int c) const noexcept { return m_data[std::ptrdiff_t(r) * m_cols + c]; }
  void SetAt(int r, int c, double value) noexcept { m_data[std::ptrdiff_t(r) * m_cols + c] = value; }
  int GetRowCount() const noexcept { return m_rows; }
  int GetColCount() const noexcept { return m_cols; }
  bool IsSquare() const noexcept { return m_rows == m_cols; }
  // Reshapes; contents undefined afterwards. A negative count leaves the
  // matrix without shape.
  void Create(int columns, int rows);
  // Releases the data; the matrix becomes 0 x 0.
  void Clear() noexcept;
  void SetZero() noexcept;
  // Zero with 1.0 on the diagonal (as far as the diagonal reaches).
  void SetIdentity() noexcept;

  // --- Arithmetic ---------------------------------------------------------
  CMatrix& operator*=(double f) noexcept;
  CMatrix& operator/=(double f) noexcept;
  // Element-wise sum over this matrix's shape.
  void Add(const CMatrix& m) noexcept;
  CMatrix operator+(const CMatrix& m) const;
  // Rows of this times columns of m; the inner length is this matrix's
  // column count.
  CMatrix operator*(const CMatrix& m) const;
  void PreMultiply(const CMatrix& m);   // this = m * this
  void PostMultiply(const CMatrix& m);  // this = this * m

  // --- Tests (an empty matrix passes all of them) -------------------------
  bool IsZero(double tol) const noexcept;
  bool IsIdentity(double tol) const noexcept;
  // Square, and A^T A within tol of the identity element by element.
  bool IsOrthogonal(double tol) const noexcept;

  void SwapRows(int a, int b) noexcept;

  // --- Linear systems and decompositions ----------------------------------
  // Solves A x = b in place by Gaussian elimination without pivoting by
  // magnitude: a zero pivot is replaced by the first row below with a
  // non-zero entry in its column, a tiny one is used as it is. b must be a
  // single column with as many rows as A (and A square); else 1 and nothing
  // changes. 1 also when a column has no non-zero pivot; 2 when back
  // substitution meets a zero diagonal. 0 on success: A then holds the
  // triangularised matrix and b the solution.
  int SolveGaussianElemination(CMatrix& b);
  // Expansion along row 0, recursively: (-1)^j A(0,j) det(Minor(0,j)),
  // summed in order of j; the 3x3 and 4x4 cases are written out with the
  // same arithmetic, so every path gives identical values. The expansion
  // costs n!/24 4x4 determinants, so beyond 8x8 the determinant comes from
  // Gaussian elimination with partial pivoting instead (equal up to
  // rounding). 0 for an empty or non-square matrix.
  double Determinant() const;
  // The matrix without row r and column c.
  void Minor(int r, int c, CMatrix& out) const;
  // Signed minors; the cofactor of a 1x1 matrix is 1.
  void Cofactor(CMatrix& out) const;
  // Transposed cofactor matrix (the classical adjoint).
  void Adjoint(CMatrix& out) const;
  void Transpose(CMatrix& out) const;
  // out = A^-1; false (out unspecified) when A is not square or empty, or
  // its determinant is within tol of 0 (|det| <= tol). 3x3 and 4x4 have
  // written-out adjugate paths; up to 6x6 the classical adjugate is divided
  // by Determinant(); larger matrices are inverted by Gauss-Jordan
  // elimination with partial pivoting, whose pivot product serves as the
  // determinant for the tolerance test. out may be this matrix.
  bool Inverse(CMatrix& out, double tol) const;
  // A = L L^T with L lower triangular; false when A is not square or not
  // positive definite (a non-positive pivot appears).
  bool Cholesky(CMatrix& L) const;
  // Solves A x = b through the Cholesky factor; b may have several columns.
  bool CholeskySolve(const CMatrix& b, CMatrix& x) const;
  // A = U W V^T: U rows x columns, W columns x columns diagonal, V columns x
  // columns. Singular values are not sorted.
  bool SVD(CMatrix& U, CMatrix& W, CMatrix& V) const;
  // Least-squares solution of A x = b of minimum norm (singular values
  // below max(rows, columns) * DBL_EPSILON * the largest are ignored);
  // b may have several columns.
  bool Solve(const CMatrix& b, CMatrix& x) const;

  void Read(const NR::NRMat<double>& m);
  void Write(NR::NRMat<double>& m) const;

  void Serialize(CArchive& ar) override;
  // Property form: "col" and "row" (integers), then "MatrixData", the
  // rows * columns doubles in row-major order as a double array, written
  // only when both counts are at least 1. Reading takes "col" and "row"
  // (a missing key keeps the current count, or reads -1 when the bag resets
  // missing keys), then, when both are at least 1, "MatrixData". An array
  // whose element count is not rows * columns, or a missing one, leaves the
  // matrix without shape and answers false.
  bool GetProperties(IClassProperty* bag) const override;
  bool SetProperties(IClassProperty* bag) override;
  uint64_t Measure() const override;

 protected:
  double Determinant3x3() const noexcept;
  double Determinant4x4() const noexcept;
  bool Inverse3x3(CMatrix& out, double tol) const;
  bool Inverse4x4(CMatrix& out, double tol) const;

 private:
  bool InverseByElimination(CMatrix& out, double tol) const;

  double* m_data;
  int m_cols;
  int m_rows;
};

}  // namespace Kernel
