#include <kernel/RefCount.h>

#include <gtest/gtest.h>

#include <set>

#include "Probe.h"

using Kernel::CPtr;
using Kernel::CRefCount;
using persist_test::DeathLog;
using persist_test::Probe;

namespace {

// Release() deletes when the count it found was 1; Release(n) when the count
// it leaves is 0; ReleaseNoDel() never. The destructor sees the poison value.
TEST(RefCount, QueriesAndWhichReleaseDeletes) {
  enum Op { kRelease, kReleaseN, kNoDel };
  struct Row {
    int32_t start;
    Op op;
    int n;
    bool deleted;
    int32_t left;
  };
  const Row rows[] = {
      {1, kRelease, 0, true, 0},    {2, kRelease, 0, false, 1},  {0, kRelease, 0, false, -1},
      {2, kReleaseN, 2, true, 0},   {2, kReleaseN, 1, false, 1}, {1, kReleaseN, 1, true, 0},
      {-1, kReleaseN, -1, true, 0}, {4, kReleaseN, 0, false, 4}, {1, kNoDel, 0, false, 0},
  };
  for (const Row& row : rows) {
    DeathLog log;
    Probe* probe = new Probe(&log);
    probe->AddRef(row.start);
    // Any non-zero count, even a negative one, is counted; shared means above 1.
    EXPECT_EQ(probe->IsRefCount(), row.start != 0) << row.start;
    EXPECT_EQ(probe->IsShared(), row.start > 1) << row.start;
    if (row.op == kRelease) probe->Release();
    if (row.op == kReleaseN) probe->Release(row.n);
    if (row.op == kNoDel) probe->ReleaseNoDel();
    EXPECT_EQ(log.deaths, row.deleted ? 1 : 0) << row.start << " op " << row.op << " n " << row.n;
    if (row.deleted) {
      EXPECT_EQ(log.countSeenInDestructor, 0x3F015577);
    } else {
      EXPECT_EQ(probe->GetRefCount(), row.left);
      probe->AddRef(-row.left);
      delete probe;
    }
  }
}

TEST(RefCount, CopyStartsAtZeroAssignmentCopiesTheCount) {
  Probe source, target;
  source.AddRef(3);
  EXPECT_EQ(Probe(source).GetRefCount(), 0);
  target = source;
  EXPECT_EQ(target.GetRefCount(), 3);
  target.AddRef();
  EXPECT_EQ(source.GetRefCount(), 3);  // copied, not shared
  target.AddRef(-4);
  source.AddRef(-3);
}

#ifndef NDEBUG
TEST(RefCountDeathTest, DestroyingAnObjectStillReferencedAsserts) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Probe* probe = new Probe;
        probe->AddRef(2);
        delete probe;
      },
      "still referenced");
}
#endif

// The new object is taken before the old one is let go: assigning a holder
// its own object, or an object owned only by the old one, must not delete it.
TEST(Ptr, AssignmentTakesBeforeItReleases) {
  DeathLog log;
  CPtr<Probe> holder(new Probe(&log));
  CPtr<Probe>& alias = holder;
  holder = alias;
  holder = holder.Get();
  holder = std::move(alias);
  EXPECT_EQ(log.deaths, 0);
  EXPECT_EQ(holder->GetRefCount(), 1);

  struct Node : CRefCount {
    CPtr<Node> next;
  };
  CPtr<Node> head(new Node);
  head->next = new Node;
  head->next->next = new Node;
  head = head->next;  // the old head dies, and with it the holder copied from
  EXPECT_EQ(head->GetRefCount(), 1);
  EXPECT_TRUE(head->next);
}

TEST(Ptr, CountsThroughMoveConversionAdoptAndDetach) {
  struct Derived : Probe {
    using Probe::Probe;
  };
  DeathLog log;
  Derived* raw = new Derived(&log, 9);
  {
    CPtr<Derived> a(raw), b(a);
    CPtr<Probe> base(b), moved(std::move(b));
    CPtr<CRefCount> root;
    root = base;
    root = std::move(moved);
    EXPECT_TRUE(b.IsNull() && moved.IsNull());
    EXPECT_EQ(raw->GetRefCount(), 3);
    Derived* detached = a.Detach();
    EXPECT_EQ(raw->GetRefCount(), 3);
    a = CPtr<Derived>::Adopt(detached);
    EXPECT_EQ(raw->GetRefCount(), 3);
    CPtr<Derived> c;
    swap(a, c);
    EXPECT_TRUE(a.IsNull());
    EXPECT_EQ(c.Get(), raw);
    EXPECT_EQ(log.deaths, 0);
  }
  EXPECT_EQ(log.deaths, 1);
}

TEST(Ptr, ComparisonsAndOrdering) {
  CPtr<Probe> a(new Probe), b(new Probe), a2(a), none;
  Probe* rawA = a.Get();
  EXPECT_TRUE(a == a2 && !(a != a2) && a != b);
  EXPECT_TRUE(a == rawA && rawA == a && b != rawA && rawA != b);
  EXPECT_TRUE(none == nullptr && nullptr == none && a != nullptr && !none);
  EXPECT_NE(a < b, b < a);
  EXPECT_EQ(rawA < b, std::less<Probe*>()(rawA, b.Get()));
  EXPECT_EQ(std::set<CPtr<Probe>>({a, b, a2}).size(), 2u);
}

class Shape : public Kernel::CIsImmutable {
 public:
  explicit Shape(DeathLog* log) : m_log(log) {}
  Shape(const Shape& other) : Kernel::CIsImmutable(other), m_log(other.m_log) {}
  Shape& operator=(const Shape& other) = default;
  ~Shape() override { ++m_log->deaths; }
  Shape* CreateClone() const override { return new Shape(*this); }
  const Shape* GetImmutable() const { return static_cast<const Shape*>(BaseGetImmutable()); }

 private:
  DeathLog* m_log;
};

TEST(IsImmutable, FlagIsNeitherCopiedNorAssigned) {
  DeathLog log;
  Shape frozen(&log), target(&log);
  frozen.MakeImmutable();
  frozen.AddRef(2);
  EXPECT_FALSE(Shape(frozen).IsImmutable());
  target = frozen;
  EXPECT_FALSE(target.IsImmutable());
  EXPECT_EQ(target.GetRefCount(), 0);
  frozen.AddRef(-2);
}

// A frozen object is its own immutable; otherwise a frozen clone comes back
// and an unowned original (count 0) is deleted on the way.
TEST(IsImmutable, GetImmutable) {
  struct Row {
    bool frozen, owned, sameObject;
    int deaths;
  };
  for (const Row& row : {Row{true, true, true, 0}, Row{false, true, false, 0}, Row{false, false, false, 1}}) {
    DeathLog log;
    Shape* shape = new Shape(&log);
    CPtr<Shape> owner(row.owned ? shape : nullptr);
    if (row.frozen) shape->MakeImmutable();
    CPtr<const Shape> result(shape->GetImmutable());
    EXPECT_EQ(result.Get() == shape, row.sameObject);
    EXPECT_EQ(log.deaths, row.deaths);
    EXPECT_TRUE(result->IsImmutable());
    if (row.owned) {
      EXPECT_EQ(shape->GetRefCount(), row.sameObject ? 2 : 1);
      EXPECT_EQ(shape->IsImmutable(), row.frozen);
    }
  }
}

}  // namespace
