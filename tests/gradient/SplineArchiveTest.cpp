#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Spline.h>

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

namespace {

using Kernel::CSpline;

// Archive bytes written by hand, little-endian, independent of CArchive.
struct Bytes {
  std::vector<BYTE> b;
  Bytes& I32(int32_t v) {
    for (int i = 0; i < 4; ++i) b.push_back(BYTE(uint32_t(v) >> (8 * i)));
    return *this;
  }
  Bytes& U8(BYTE v) {
    b.push_back(v);
    return *this;
  }
  Bytes& F64(double v) {
    uint64_t u;
    std::memcpy(&u, &v, 8);
    for (int i = 0; i < 8; ++i) b.push_back(BYTE(u >> (8 * i)));
    return *this;
  }
  Bytes& F64s(const std::vector<double>& vs) {
    for (double v : vs) F64(v);
    return *this;
  }
};

std::vector<BYTE> Store(CSpline& s) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    s.Serialize(ar);
  }
  const BYTE* p = file.GetBufferPtr();
  return std::vector<BYTE>(p, p + file.GetLength());
}

void Load(std::vector<BYTE> bytes, CSpline& s) {
  CMemFile file(bytes.empty() ? nullptr : bytes.data(), UINT(bytes.size()));
  CArchive ar(&file, CArchive::load);
  s.Serialize(ar);
}

CSpline Make(const std::vector<double>& x, const std::vector<double>& y) {
  CSpline s;
  s.Set(x.data(), y.data(), int(x.size()));
  return s;
}

TEST(SplineArchive, ExactBytes) {
  CSpline s = Make({0, 1, 2}, {0, 1, 0});
  s.SetLinear(true);
  Bytes want;
  want.I32(12).U8(1).I32(3).F64s({0, 1, 2}).F64s({0, 1, 0}).F64s({0, -3, 0}).F64(1e300).F64(1e300);
  EXPECT_EQ(Store(s), want.b);

  CSpline empty;
  empty.SetBoundaryConditions(-2.5, 0.125);
  Bytes none;
  none.I32(12).U8(0).I32(0).F64(-2.5).F64(0.125);
  EXPECT_EQ(Store(empty), none.b);
}

TEST(SplineArchive, RoundTripIsExact) {
  CSpline s = Make({-3, -1, 0.1, 2, 9}, {1e-3, 5, -7, 2.25, 0});
  s.SetBoundaryConditions(0.7, -1.3);
  CSpline back = Make({5, 6}, {1, 1});
  back.SetLinear(true);
  Load(Store(s), back);
  ASSERT_EQ(back, s);
  EXPECT_FALSE(back.IsLinear());
  EXPECT_EQ(back.GetYP1(), 0.7);
  EXPECT_EQ(back.GetYPN(), -1.3);
  for (int i = 0; i < 5; ++i) EXPECT_EQ(back.GetY2(i), s.GetY2(i));
  for (double t = -4; t < 10; t += 0.3) EXPECT_EQ(back.Interpolate(t), s.Interpolate(t)) << t;
  EXPECT_EQ(Store(back), Store(s));
}

// Stored second derivatives are used as they are, even when they are not
// what the knots would give: a curve through three zeros with y2 = {0, 50,
// 0} dips to (-0.375 * 50) / 6 = -3.125 halfway between the first knots.
TEST(SplineArchive, StoredCurvatureIsNotRecomputed) {
  Bytes odd;
  odd.I32(12).U8(0).I32(3).F64s({0, 1, 2}).F64s({0, 0, 0}).F64s({0, 50, 0}).F64(1e300).F64(1e300);
  CSpline s;
  Load(odd.b, s);
  ASSERT_EQ(s.GetCount(), 3);
  EXPECT_EQ(s.GetY2(1), 50.0);
  EXPECT_DOUBLE_EQ(s.Interpolate(0.5), -3.125);
  EXPECT_DOUBLE_EQ(s.Interpolate(1.5), -3.125);
  // The natural spline through the same knots is flat: equality ignores y2.
  const CSpline flat = Make({0, 1, 2}, {0, 0, 0});
  EXPECT_EQ(flat.Interpolate(0.5), 0.0);
  EXPECT_TRUE(s == flat);
  // Copies keep the stored values too; an edit recomputes them.
  const CSpline copy(s);
  EXPECT_EQ(copy.GetY2(1), 50.0);
  s.SetY(0, 0.0);
  EXPECT_EQ(s.GetY2(1), 0.0);
}

// Older schemas lack fields; the spline keeps its current values for them.
TEST(SplineArchive, OlderSchemasKeepCurrentValues) {
  struct Case {
    const char* name;
    Bytes bytes;
    bool linear;
    double yp1, ypn;
  };
  Bytes v10, v11, v11linear, v12;
  v10.I32(10).I32(2).F64s({0, 4}).F64s({1, 3}).F64s({0, 0});
  v11.I32(11).U8(0).I32(2).F64s({0, 4}).F64s({1, 3}).F64s({0, 0});
  v11linear.I32(11).U8(1).I32(2).F64s({0, 4}).F64s({1, 3}).F64s({0, 0});
  v12.I32(12).U8(0).I32(2).F64s({0, 4}).F64s({1, 3}).F64s({0, 0}).F64(1e300).F64(2.0);
  const Case cases[] = {
      {"10 keeps flag and ends", v10, true, -0.5, 0.5},
      {"11 reads flag, keeps ends", v11, false, -0.5, 0.5},
      {"11 linear flag", v11linear, true, -0.5, 0.5},
      {"12 reads all", v12, false, 1e300, 2.0},
  };
  for (const Case& c : cases) {
    CSpline s = Make({7, 8, 9}, {1, 2, 3});
    s.SetLinear(true);
    s.SetBoundaryConditions(-0.5, 0.5);
    Load(c.bytes.b, s);
    ASSERT_EQ(s.GetCount(), 2) << c.name;
    EXPECT_EQ(s.GetX(1), 4.0) << c.name;
    EXPECT_EQ(s.GetY(0), 1.0) << c.name;
    EXPECT_EQ(s.IsLinear(), c.linear) << c.name;
    EXPECT_EQ(s.GetYP1(), c.yp1) << c.name;
    EXPECT_EQ(s.GetYPN(), c.ypn) << c.name;
    // Not recomputed on load, even though the kept ends would curve it.
    EXPECT_EQ(s.GetY2(0), 0.0) << c.name;
    EXPECT_EQ(s.Interpolate(2.0), 2.0) << c.name;
  }
}

// Every proper prefix of a stored spline is refused, and the spline that
// was being loaded is left empty, not half-read.
TEST(SplineArchive, TruncatedAtEveryLengthThrows) {
  CSpline s = Make({0, 1, 3, 4}, {2, 0, 5, 1});
  s.SetBoundaryConditions(1, 2);
  const std::vector<BYTE> full = Store(s);
  ASSERT_EQ(full.size(), 4u + 1 + 4 + 12 * 8 + 16);
  for (std::size_t len = 0; len < full.size(); ++len) {
    CSpline target = Make({5, 6, 7}, {1, 2, 3});
    target.SetLinear(true);
    target.SetBoundaryConditions(-4, 4);
    try {
      Load(std::vector<BYTE>(full.begin(), full.begin() + std::ptrdiff_t(len)), target);
      ADD_FAILURE() << "no exception at length " << len;
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, CArchiveException::endOfFile) << len;
    }
    // Nothing read is applied, not even the knots once only the end
    // slopes are missing.
    EXPECT_EQ(target.GetCount(), 0) << len;
    EXPECT_EQ(target.Interpolate(6.0), 0.0) << len;
    EXPECT_TRUE(target.IsLinear()) << len;
    EXPECT_EQ(target.GetYP1(), -4.0) << len;
    EXPECT_EQ(target.GetYPN(), 4.0) << len;
  }
}

// Counts are checked against what the archive still holds before anything
// is read or allocated: the refusal comes with the archive standing just
// after the count, its last bytes unread.
TEST(SplineArchive, AbsurdCountsAreRefusedUpFront) {
  struct Case {
    const char* name;
    int32_t count;
    int tail;  // bytes after the count
    int cause;
  };
  const Case cases[] = {
      {"largest count, 10 bytes", 0x7FFFFFFF, 10, CArchiveException::endOfFile},
      {"one knot too many", 2, 47, CArchiveException::endOfFile},
      {"negative", -1, 64, CArchiveException::badIndex},
      {"most negative", int32_t(0x80000000u), 64, CArchiveException::badIndex},
  };
  for (const Case& c : cases) {
    Bytes b;
    b.I32(12).U8(0).I32(c.count);
    for (int i = 0; i < c.tail; ++i) b.U8(BYTE(i));
    CMemFile file(b.b.data(), UINT(b.b.size()));
    CSpline s = Make({1, 2}, {3, 4});
    try {
      CArchive ar(&file, CArchive::load);
      s.Serialize(ar);
      ADD_FAILURE() << c.name;
    } catch (const CArchiveException& e) {
      EXPECT_EQ(e.m_cause, c.cause) << c.name;
    }
    EXPECT_EQ(s.GetCount(), 0) << c.name;
    if (c.cause == CArchiveException::endOfFile) {
      EXPECT_EQ(file.GetPosition(), 9u) << c.name;
    }
  }
}

// Archives whose length cannot be asked for still load, and still refuse
// short data.
class UnsizedFile : public CMemFile {
 public:
  using CMemFile::CMemFile;
  ULONGLONG GetLength() const override { throw CFileException(CFileException::genericException); }
};

TEST(SplineArchive, FileWithoutLength) {
  CSpline s = Make({0, 1, 3}, {2, 0, 5});
  std::vector<BYTE> bytes = Store(s);
  {
    UnsizedFile file(bytes.data(), UINT(bytes.size()));
    CArchive ar(&file, CArchive::load);
    CSpline back;
    back.Serialize(ar);
    EXPECT_EQ(back, s);
  }
  Bytes huge;
  huge.I32(12).U8(0).I32(0x7FFFFFFF).F64(1.0);
  UnsizedFile file(huge.b.data(), UINT(huge.b.size()));
  CArchive ar(&file, CArchive::load);
  CSpline back = s;
  EXPECT_THROW(back.Serialize(ar), CArchiveException);
  EXPECT_EQ(back.GetCount(), 0);
}

}  // namespace
