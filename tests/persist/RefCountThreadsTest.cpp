#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/Dynamic.h>
#include <kernel/Persist.h>

#include <gtest/gtest.h>

#include <atomic>
#include <barrier>
#include <string>
#include <thread>
#include <vector>

#include "Probe.h"

using Kernel::CPtr;
using Kernel::CRefCount;
using persist_test::DeathLog;
using persist_test::Probe;

namespace {

constexpr int kThreads = 4;

template <class Fn>
void RunThreads(Fn fn) {
  std::vector<std::thread> threads;
  for (int t = 0; t < kThreads; ++t) threads.emplace_back(fn, t);
  for (std::thread& thread : threads) thread.join();
}

TEST(RefCountThreads, CountsFromManyThreadsBalance) {
  DeathLog log;
  const CPtr<Probe> source(new Probe(&log));
  RunThreads([&](int) {
    for (int i = 0; i < 20000; ++i) {
      source->AddRef();
      source->ReleaseNoDel();
      CPtr<Probe> copy(source), second;
      second = copy;
      CPtr<CRefCount> moved(std::move(second));
      if (moved.Get() != source.Get() || !second.IsNull()) ADD_FAILURE();
    }
  });
  EXPECT_EQ(source->GetRefCount(), 1);
  EXPECT_EQ(log.deaths, 0);
}

// Every thread drops its reference at the same moment: exactly one deletes.
TEST(RefCountThreads, RacingLastReleasesDeleteOnce) {
  for (int round = 0; round < 200; ++round) {
    DeathLog log;
    Probe* object = new Probe(&log);
    for (int t = 0; t < kThreads; ++t) object->AddRef();
    std::barrier start(kThreads);
    RunThreads([&](int) {
      start.arrive_and_wait();
      object->Release();
    });
    ASSERT_EQ(log.deaths, 1) << round;
    ASSERT_EQ(log.countSeenInDestructor, CRefCount::c_inReleaseCount);
  }
}

// Threads assign into one holder at once (copy, move, raw pointer, swap then
// move): every object but the last one kept must be deleted exactly once.
TEST(RefCountThreads, ConcurrentAssignmentIntoOneHolder) {
  DeathLog log;
  std::atomic<int> created{1};
  CPtr<Probe> target(new Probe(&log));
  RunThreads([&](int t) {
    for (int i = 0; i < 5000; ++i, ++created) {
      CPtr<Probe> mine(new Probe(&log, i)), other;
      Probe* raw = nullptr;
      switch ((i + t) % 4) {
        case 0:
          target = mine;
          break;
        case 1:
          target = std::move(mine);
          break;
        case 2:
          raw = mine.Detach();
          target = raw;
          raw->Release();  // the reference Detach handed over
          break;
        default:
          swap(mine, other);
          target = std::move(other);
          break;
      }
    }
  });
  EXPECT_EQ(target->GetRefCount(), 1);
  EXPECT_EQ(log.deaths, created - 1);
  target.Reset();
  EXPECT_EQ(log.deaths, created.load());
}

// Sessions on separate archives in every thread, while objects destroyed
// directly make the registry walk all the open maps.
TEST(RefCountThreads, ArchiveMapRegistry) {
  DeathLog log;
  std::atomic<int> created{0};
  RunThreads([&](int t) {
    for (int round = 0; round < 200; ++round, created += 2) {
      CMemFile file;
      CArchive ar(&file, CArchive::load);
      Persist::CPtrMapsSession outer(ar);
      {
        Persist::CPtrMapsSession inner(ar);
        CPtr<Probe> kept(new Probe(&log, t));
        kept->Serialize(ar);
        Probe* dropped = new Probe(&log, t);
        dropped->Serialize(ar);
        delete dropped;
        Persist::CPtrMap& map = Persist::CArchiveMaps::Instance().GetMap(ar);
        map.AddStoreID(kept.Get(), map.NextID());
        if (map.GetStoreID(kept.Get()) != 1 || map.GetHeldCount<CRefCount>() != 1) ADD_FAILURE();
      }
      if (!Persist::CArchiveMaps::Instance().CheckMap(ar)) ADD_FAILURE();
    }
  });
  EXPECT_EQ(log.deaths, created.load());
}

TEST(RefCountThreads, FactoryRegistry) {
  struct Thing {
    int value = 3;
  };
  Dynamic::CFactoryMap& factories = Dynamic::CFactoryMap::Instance();
  factories.AddFactory("threads.shared", new Dynamic::CNewFactory<Thing>);
  RunThreads([&](int t) {
    const std::string own = "threads.own." + std::to_string(t);
    for (int i = 0; i < 2000; ++i) {
      factories.AddFactory(own.c_str(), new Dynamic::CNewFactory<Thing>);
      if (i % 10 == 0) factories.AddFactory("threads.shared", new Dynamic::CNewFactory<Thing>);
      delete static_cast<Thing*>(factories.CreateObject(own.c_str()));
      Thing* shared = static_cast<Thing*>(factories.CreateObject("threads.shared"));
      if (!shared || shared->value != 3 || factories.CreateObject("threads.none")) ADD_FAILURE();
      delete shared;
    }
  });
  EXPECT_NE(factories.GetFactory("threads.own.0"), nullptr);
}

}  // namespace
