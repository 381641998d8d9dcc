#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Exceptions.h>
#include <kernel/Persist.h>

#include <gtest/gtest.h>

#include <vector>

#include "Probe.h"

using Kernel::CPtr;
using Kernel::CRefCount;
using Persist::CArchiveMaps;
using Persist::CPtrMap;
using Persist::CPtrMapsSession;
using persist_test::DeathLog;
using persist_test::Probe;

namespace {

std::vector<int> g_releaseOrder;

struct RecordingRelease {
  void operator()(Probe* p) const {
    g_releaseOrder.push_back(p->Value());
    p->Release();
  }
};

TEST(HoldRefList, RemoveUnlinksWithoutReleasingReleaseAllGoesInOrder) {
  DeathLog log;
  CPtr<Probe> twice(new Probe(&log, 1));
  auto* list = new Persist::CHoldRefList<Probe, Persist::_addref<Probe>, RecordingRelease>;
  list->Add(twice.Get());
  for (int value : {3, 2}) list->Add(new Probe(&log, value));
  list->Add(twice.Get());
  list->Add(nullptr);  // ignored
  EXPECT_EQ(list->GetCount(), 4);
  EXPECT_EQ(list->Remove(twice.Get()), 2);
  EXPECT_EQ(twice->GetRefCount(), 3);  // unlinked, not released
  EXPECT_EQ(list->Remove(twice.Get()), 0);
  twice->AddRef(-2);
  g_releaseOrder.clear();
  list->ReleaseAll();
  EXPECT_EQ(g_releaseOrder, std::vector<int>({3, 2}));
  EXPECT_EQ(list->GetCount(), 0);
  EXPECT_EQ(log.deaths, 2);
  list->Add(twice.Get());
  delete list;  // frees nodes only
  EXPECT_EQ(twice->GetRefCount(), 2);
  twice->ReleaseNoDel();
}

TEST(PtrMap, NumberingInBothDirections) {
  CPtrMap map;
  int objects[3] = {};
  EXPECT_EQ(map.GetStoreID(&objects[0]), -1);
  EXPECT_EQ(map.GetPtr(1), nullptr);
  for (int& object : objects) {
    const int32_t id = map.NextID();
    map.AddStoreID(&object, id);
    map.AddPtr(id, &object);
  }
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(map.GetStoreID(&objects[i]), i + 1);
    EXPECT_EQ(map.GetPtr(i + 1), &objects[i]);
  }
  for (int32_t id : {0, -1, 4}) EXPECT_EQ(map.GetPtr(id), nullptr) << id;
  EXPECT_EQ(map.GetStoreID(nullptr), -1);
  EXPECT_EQ(map.NextID(), 4);
  map.AddStoreID(&objects[0], 40);  // a later entry replaces the earlier one
  EXPECT_EQ(map.GetStoreID(&objects[0]), 40);
}

TEST(PtrMap, HoldsPerTypeRemovesWithoutReleasingReleasesAtTheEnd) {
  DeathLog log;
  CPtrMap* map = new CPtrMap;
  map->AddRef();
  Probe* loose = new Probe(&log, 1);
  CPtr<Probe> owned(new Probe(&log, 2));
  map->HoldRef<CRefCount>(loose);
  map->HoldRef<CRefCount>(owned.Get());
  map->HoldRef<CRefCount>(owned.Get());
  map->HoldRef<Probe>(owned.Get());  // another type, another list
  map->AddStoreID(owned.Get(), map->NextID());
  EXPECT_EQ(map->GetHeldCount<CRefCount>(), 3);
  EXPECT_EQ(map->GetHeldCount<Probe>(), 1);
  EXPECT_EQ(owned->GetRefCount(), 4);
  EXPECT_EQ(map->RemovePtr(owned.Get()), 3);
  EXPECT_EQ(map->RemovePtr(owned.Get()), 0);
  EXPECT_EQ(owned->GetRefCount(), 4);
  EXPECT_EQ(map->GetStoreID(owned.Get()), 1);  // numbering untouched
  owned->AddRef(-3);
  map->Release();
  EXPECT_EQ(log.deaths, 1);
  EXPECT_EQ(owned->GetRefCount(), 1);
}

class ArchiveMaps : public ::testing::Test {
 protected:
  CArchiveMaps& Maps() { return CArchiveMaps::Instance(); }
  CMemFile m_file, m_otherFile;
  CArchive m_load{&m_file, CArchive::load};
  CArchive m_other{&m_otherFile, CArchive::load};
};

TEST_F(ArchiveMaps, WithoutSessionGetMapThrowsAndLoadingFails) {
  EXPECT_EQ(Maps().CheckMap(m_load), nullptr);
  try {
    Maps().GetMap(m_load);
    FAIL() << "no exception";
  } catch (const CArchiveException& e) {
    EXPECT_EQ(e.m_cause, CArchiveException::genericException);
    EXPECT_TRUE(e.m_strFileName.IsEmpty());
  }
  CPtr<Probe> object(new Probe);
  EXPECT_THROW(object->Serialize(m_load), CArchiveException);
  EXPECT_EQ(object->GetRefCount(), 1);
  Maps().CloseArchive(m_load);  // closing what is not open does nothing
}

// The inner session's end is not the end: loaded objects live until the
// outer one closes, even when the loader dropped every pointer.
TEST_F(ArchiveMaps, NestedSessionsShareOneMapThatKeepsObjectsAlive) {
  const int before = Maps().GetMapCount();
  DeathLog log;
  CPtr<Probe> survivor(new Probe);
  {
    CPtrMapsSession outer(m_load);
    CPtrMap* map = &outer.GetMap();
    EXPECT_EQ(map->GetArchive(), &m_load);
    EXPECT_EQ(map->GetOwner(), &Maps());
    {
      CPtrMapsSession inner(m_load);
      EXPECT_EQ(&inner.GetMap(), map);
      EXPECT_EQ(map->GetRefCount(), 2);
      CPtr<Probe> loaded(new Probe(&log));
      loaded->Serialize(m_load);
      loaded->Serialize(m_load);
      (new Probe(&log))->Serialize(m_load);
      survivor->Serialize(m_load);
    }
    EXPECT_EQ(map->GetRefCount(), 1);
    EXPECT_EQ(Maps().CheckMap(m_load), map);
    EXPECT_EQ(map->GetHeldCount<CRefCount>(), 4);
    EXPECT_EQ(log.deaths, 0);
    EXPECT_EQ(Maps().GetMapCount(), before + 1);
  }
  EXPECT_EQ(log.deaths, 2);
  EXPECT_EQ(log.countSeenInDestructor, CRefCount::c_inReleaseCount);
  EXPECT_EQ(survivor->GetRefCount(), 1);
  EXPECT_EQ(Maps().CheckMap(m_load), nullptr);
  EXPECT_EQ(Maps().GetMapCount(), before);
}

TEST_F(ArchiveMaps, StoringHoldsNothing) {
  CMemFile file;
  CArchive store(&file, CArchive::store);
  CPtr<Probe> object(new Probe);
  object->Serialize(store);  // needs no session
  CPtrMapsSession session(store);
  object->Serialize(store);
  EXPECT_EQ(object->GetRefCount(), 1);
}

// An object destroyed directly while only a map holds it takes itself out of
// every open map; closing the sessions then must not touch it (ASan watches).
TEST_F(ArchiveMaps, DestroyedObjectLeavesEveryOpenMap) {
  DeathLog log;
  CPtrMapsSession first(m_load);
  CPtrMapsSession second(m_other);
  Probe* object = new Probe(&log);
  object->Serialize(m_load);
  delete object;
  EXPECT_EQ(log.countSeenInDestructor, 1);
  EXPECT_EQ(first.GetMap().GetHeldCount<CRefCount>(), 0);

  CPtr<Probe> shared(new Probe);
  shared->Serialize(m_load);
  shared->Serialize(m_other);
  shared->Serialize(m_other);
  EXPECT_EQ(Maps().RemovePtr(shared.Get()), 3);
  EXPECT_EQ(Maps().RemovePtr(shared.Get()), 0);
  shared->AddRef(-3);
}

// Releasing one held object may destroy others that the same list holds
// (members by value): they leave the list instead of being released again.
TEST_F(ArchiveMaps, TeardownCopesWithObjectsDyingInsideIt) {
  struct Outer : CRefCount {
    explicit Outer(DeathLog* log) : member(log) {}
    Probe member;
  };
  DeathLog log;
  {
    CPtrMapsSession session(m_load);
    Outer* outer = new Outer(&log);
    outer->Serialize(m_load);
    outer->member.Serialize(m_load);
  }
  EXPECT_EQ(log.deaths, 1);
  EXPECT_EQ(log.countSeenInDestructor, 1);
}

TEST_F(ArchiveMaps, LoadArrayAppendReadAndCount) {
  CPtrMapsSession session(m_load);
  CPtrMap& map = session.GetMap();
  EXPECT_EQ(map.GetLoadMapPtrCount(), 0u);
  int a = 0, b = 0;
  EXPECT_EQ(map.AppendLoadMapPtr(&a), 0u);
  EXPECT_EQ(map.AppendLoadMapPtr(&b), 1u);
  EXPECT_EQ(m_load.m_nMapCount, 2u);
  EXPECT_EQ(map.GetLoadMapPtrCount(), 2u);
  EXPECT_EQ(map.GetLoadMapPtr(0), &a);
  EXPECT_EQ(Persist::GetLoadMapPtr(m_load, 1), &b);
  for (uint32_t bad : {2u, 3u, 0xFFFFFFFFu}) EXPECT_THROW(map.GetLoadMapPtr(bad), CInvalidArgException) << bad;
  CPtrMap freeStanding;
  EXPECT_EQ(freeStanding.GetLoadMapPtrCount(), 0u);
  EXPECT_THROW(freeStanding.AppendLoadMapPtr(&a), CInvalidArgException);
  EXPECT_THROW(freeStanding.GetLoadMapPtr(0), CInvalidArgException);
}

}  // namespace
