#pragma once
// CSpline: a one-dimensional curve y(x) through a list of knots, evaluated
// piecewise linearly or as a cubic spline with natural or clamped ends.
// Gradient fills shape their channels with it and callers build 8-bit
// look-up tables (tone curves) from it with CreateTable.
//
// Storage: one block of 3 * n doubles, the n x values, then the n y values,
// then the n second derivatives y2 of the cubic. x must be strictly
// increasing for meaningful results; only AddKnot keeps the order for the
// caller. Accessors and the index-taking editors do not check their index.
//
// Ends: yp1 and ypn are the first derivatives wanted at the first and last
// knot; anything above 9.9e29 (the default is 1e300) means a natural end,
// with zero second derivative there.
//
// Evaluation outside the knots is flat: y[0] at and below x[0], y[n-1] at and
// above x[n-1], with derivative 0. An empty spline evaluates to 0.
// Evaluation remembers the interval it last used (the index of its upper
// knot, its width and reciprocal), so runs of nearby queries skip the
// search; that cache is written by the const evaluators, so one spline must
// not be evaluated from several threads at once.
//
// Archive form (Serialize): the int32 schema 12, the linear flag (one byte),
// the int32 count n, the 3 * n doubles of the knot block exactly as held,
// then yp1 and ypn. Loading uses the stored second derivatives as they are,
// never recomputing them. Older archives are read too: schema 11 lacks the
// end derivatives and schema 10 also the linear flag; the spline keeps its
// current values for what the archive lacks. A failed load (truncated data,
// a negative count or a count larger than the archive can hold) throws
// CArchiveException and leaves the spline without knots, its flag and end
// derivatives as they were. Counts are checked against the bytes left in
// the archive before anything is allocated.
//
// Property form: see GetProperties.
//
// The class is reference counted (hold shared instances in CPtr<CSpline>)
// and may equally live by value, as the gradient classes hold theirs.
// Copying and assignment copy the curve, never the reference count.
#include <kernel/CObject.h>
#include <kernel/Export.h>
#include <kernel/PropHandler.h>
#include <kernel/RefCount.h>

#include <cstdint>

class CArchive;

namespace Kernel {

class NK_API CSpline : public CObject, public CRefCount, public IPropHandler {
  DECLARE_SERIAL(CSpline)

 public:
  // The default end derivative: a natural end.
  static constexpr double c_natural = 1e300;
  // End derivatives above this value mean a natural end.
  static constexpr double c_naturalThreshold = 9.9e29;
  // Knots, flags and end derivatives compare equal within this distance.
  static constexpr double c_tolerance = 1e-6;
  // The archive schema written by Serialize.
  static constexpr int32_t c_schema = 12;

  // No knots, cubic, natural ends.
  CSpline() noexcept;
  // Copy the knots (with their second derivatives as they are), the linear
  // flag and the end derivatives; the interval cache restarts at the first
  // interval.
  CSpline(const CSpline& other);
  CSpline& operator=(const CSpline& other);
  ~CSpline() override;

  // --- Queries --------------------------------------------------------------
  int GetCount() const noexcept { return m_n; }
  double GetX(int i) const noexcept { return m_x[i]; }
  double GetY(int i) const noexcept { return m_y[i]; }
  double GetY2(int i) const noexcept { return m_y2[i]; }
  bool IsLinear() const noexcept { return m_linear; }
  bool IsCubic() const noexcept { return !m_linear; }
  double GetYP1() const noexcept { return m_yp1; }
  double GetYPN() const noexcept { return m_ypn; }

  // --- Editing --------------------------------------------------------------
  // Sets the flag only; the second derivatives are kept for a later switch
  // back to cubic.
  void SetLinear(bool linear) noexcept { m_linear = linear; }
  // Copies n knots (x and y may point into this spline). The block is
  // reallocated only when n differs from the current count. n <= 0 leaves
  // the spline exactly as it was: to empty a spline use RemoveKnots.
  void Set(const double* x, const double* y, int n);
  // Store one value and recompute the second derivatives.
  void SetX(int i, double x);
  void SetY(int i, double y);
  void SetXY(int i, double x, double y);
  void SetBoundaryConditions(double yp1, double ypn);
  // Inserts before the first knot whose x is not less than the new x (so
  // before an equal x) and returns the index of the LAST knot, n - 1 after
  // the insertion, not the index where the knot went. Callers of the
  // original interface rely on that value, so it stays.
  int AddKnot(double x, double y);
  // Inserts at index i without any ordering check.
  void InsertKnot(int i, double x, double y);
  // Removes knot i. Both rebuild through Set, so removing the only knot of a
  // one-knot spline changes nothing (Set ignores a count of 0).
  void RemoveKnot(int i);
  // Frees the block; the spline has no knots afterwards.
  void RemoveKnots() noexcept;

  // --- Evaluation -----------------------------------------------------------
  double Interpolate(double x) const { return m_linear ? LinearInterpolate(x) : CubicInterpolate(x); }
  double Derivative(double x) const { return m_linear ? LinearDerivative(x) : CubicDerivative(x); }
  double LinearInterpolate(double x) const;
  double CubicInterpolate(double x) const;
  double LinearDerivative(double x) const;
  double CubicDerivative(double x) const;

  // target gets this spline's knots moved and scaled, x' = (x + xOffset) *
  // xScale and y' = (y + yOffset) * yScale (offset first), and this
  // spline's linear flag; its own end derivatives stay and its second
  // derivatives are recomputed. Copying an empty spline empties target.
  // target may be this spline.
  void CopyScale(CSpline& target, double xScale, double xOffset, double yScale, double yOffset) const;
  // table[i] for i in 0..count-1 = floor(v + 0.5) clamped to 0..255, where
  // v = (Interpolate(x0 + i * (x1 - x0) / (count - 1)) + yOffset) * yScale.
  // With count 1 the single entry samples x0; a NaN value gives 0.
  void CreateTable(unsigned char* table, int count, double x0, double x1, double yScale, double yOffset) const;

  // Equal when both are the same object, or the counts and linear flags
  // match and the end derivatives and every x and y agree within 1e-6.
  // Second derivatives are not compared: they follow from the rest.
  bool operator==(const CSpline& other) const noexcept;
  bool operator!=(const CSpline& other) const noexcept { return !(*this == other); }

  // --- Persistence ----------------------------------------------------------
  void Serialize(CArchive& ar) override;
  // Writes, in this order: "linear" (bool) when true, "yp1" and "ypn"
  // (doubles) when not 1e300, or all three when the bag writes defaults;
  // then "xyy2", the whole knot block as 3 * n doubles, when there are
  // knots. Returns false only for a null bag.
  bool GetProperties(IClassProperty* bag) const override;
  // Reads "linear", "yp1" and "ypn"; a missing key leaves its field alone,
  // or resets it to its default when the bag resets missing keys. "xyy2" is
  // always read: n = (element count) / 3, and the block (second derivatives
  // included) is taken from the bag as it is; a missing or unreadable array
  // leaves no knots. Returns false only for a null bag.
  bool SetProperties(IClassProperty* bag) override;
  uint64_t Measure() const override;

 private:
  // Points the three views at a block of 3 * n doubles (taking ownership)
  // after freeing the old one.
  void Adopt(double* block, int n) noexcept;
  // The tridiagonal solution for y2; also resets the interval cache.
  void ComputeSecondDerivatives();
  // Restarts the interval cache at the first interval.
  void ResetCache() const noexcept;
  // Points the cache at the interval [x[k-1], x[k]] holding v (x[0] < v <
  // x[n-1] is the caller's part) and returns k.
  int FindInterval(double v) const noexcept;

  double* m_x = nullptr;   // the block; also the x view
  double* m_y = nullptr;   // m_x + n
  double* m_y2 = nullptr;  // m_x + 2n
  int m_n = 0;
  bool m_linear = false;
  double m_yp1 = c_natural;
  double m_ypn = c_natural;
  // Interval cache: the upper knot index of the interval last used, its
  // width and reciprocal.
  mutable int m_khi = 1;
  mutable double m_h = 1.0;
  mutable double m_invH = 1.0;
};

}  // namespace Kernel
