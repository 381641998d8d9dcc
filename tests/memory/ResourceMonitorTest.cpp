#include <kernel/ResourceMonitor.h>

#include <gtest/gtest.h>

#include "Support.h"

#include <chrono>
#include <cstring>
#include <thread>

using Kernel::COSResourceMonitor;

TEST(ResourceMonitor, FiguresBeforeAndAfterInit) {
  const std::string failure = nktest::RunInChild([]() -> std::string {
    COSResourceMonitor& m = COSResourceMonitor::GetInstance();
    if (m.IsInitialised()) return "initialised from the start";
    if (m.GetAvailableBytes() != -1) return "available bytes before Init";
    if (m.GetPrivateBytesUsedByApp() != 0 || m.GetWorkingSetUsedByApp() != 0) return "usage before Init";
    if (!COSResourceMonitor::Init(CString(L"norvik host"))) return "Init failed";
    if (std::wstring(m.GetProcessName().GetString()) != L"norvik host") return "name not kept";
    const int64_t available = m.GetAvailableBytes();
    if (available <= 0 || available > COSResourceMonitor::GetTotalPhysicalBytes()) return "available out of range";
    // Touching 64 MiB must show in both private bytes and the working set.
    const int64_t private0 = m.GetPrivateBytesUsedByApp();
    const int64_t working0 = m.GetWorkingSetUsedByApp();
    const size_t n = 64u << 20;
    auto* p = static_cast<volatile char*>(std::malloc(n));
    for (size_t i = 0; i < n; i += 4096) p[i] = 1;  // volatile: the stores must happen
    const int64_t private1 = m.GetPrivateBytesUsedByApp();
    const int64_t working1 = m.GetWorkingSetUsedByApp();
    std::free(const_cast<char*>(p));
    if (private1 - private0 < int64_t(60) << 20) return "private bytes did not grow";
    if (working1 - working0 < int64_t(60) << 20) return "working set did not grow";
    if (working1 < private1 / 2) return "working set implausibly small";
    return "";
  });
  EXPECT_EQ(failure, "");
}

TEST(ResourceMonitor, TickCountIsMonotonicMilliseconds) {
  const uint32_t t0 = COSResourceMonitor::GetTickCount();
  std::this_thread::sleep_for(std::chrono::milliseconds(30));
  const uint32_t t1 = COSResourceMonitor::GetTickCount();
  EXPECT_GE(t1 - t0, 29u);
  EXPECT_LT(t1 - t0, 2000u);
  EXPECT_GT(COSResourceMonitor::GetTotalPhysicalBytes(), int64_t(64) << 20);
}
