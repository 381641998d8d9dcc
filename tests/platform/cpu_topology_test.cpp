// Counting cores and logical processors from crafted topology folders laid
// out as /sys/devices/system/cpu.
#include <gtest/gtest.h>

#include <kernel/CPU.h>

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <utility>
#include <vector>

namespace fs = std::filesystem;

namespace {

struct Processor {
  int id;
  const char* siblings;  // thread_siblings_list, or null
  const char* coreId;    // core_id, or null
  const char* package;   // physical_package_id, or null
};

class TempFolder {
 public:
  TempFolder() {
    path_ = fs::temp_directory_path() / ("nk_topology_" + std::to_string(getpid()) + "_" + std::to_string(counter_++));
    fs::remove_all(path_);
    fs::create_directories(path_);
  }
  ~TempFolder() {
    std::error_code ec;
    fs::remove_all(path_, ec);
  }
  const fs::path& path() const { return path_; }

 private:
  static inline int counter_ = 0;
  fs::path path_;
};

void Write(const fs::path& file, const std::string& text) {
  fs::create_directories(file.parent_path());
  std::ofstream(file) << text;
}

}  // namespace

TEST(CPUTopology, CoresAreDistinctSiblingSets) {
  struct Case {
    Case(const char* n, const char* on, bool o, uint32_t cs, uint32_t l, std::vector<Processor> ps)
        : name(n), online(on), ok(o), cores(cs), logical(l), processors(std::move(ps)) {}
    const char* name;
    const char* online;  // null: no online file
    bool ok;
    uint32_t cores, logical;
    std::vector<Processor> processors;
  };
  const Case cases[] = {
      Case("two cores, two threads each", "0-3\n", true, 2, 4,
           {{0, "0,2", "0", "0"}, {1, "1,3", "1", "0"}, {2, "0,2", "0", "0"}, {3, "1,3", "1", "0"}}),
      Case("ranges in sibling lists", "0-3", true, 2, 4,
           {{0, "0-1", "0", "0"}, {1, "0-1", "0", "0"}, {2, "2-3", "1", "0"}, {3, "2-3", "1", "0"}}),
      Case("no hardware threads", "0-1", true, 2, 2, {{0, "0", "0", "0"}, {1, "1", "1", "0"}}),
      Case("an offline processor is not counted", "0,2-3", true, 3, 3,
           {{0, "0", "0", "0"}, {1, "1", "1", "0"}, {2, "2", "2", "0"}, {3, "3", "3", "0"}}),
      Case("no online file: every cpuN folder", nullptr, true, 2, 3,
           {{0, "0,1", "0", "0"}, {1, "0,1", "0", "0"}, {7, "7", "3", "0"}}),
      Case("garbage online file: every cpuN folder", "zero to three", true, 2, 2,
           {{0, "0", "0", "0"}, {1, "1", "1", "0"}}),
      Case("core numbers repeat in each package", "0-3", true, 4, 4,
           {{0, nullptr, "0", "0"}, {1, nullptr, "1", "0"}, {2, nullptr, "0", "1"}, {3, nullptr, "1", "1"}}),
      Case("threads found by core number alone", "0-3", true, 2, 4,
           {{0, nullptr, "0", "0"}, {1, nullptr, "0", "0"}, {2, nullptr, "1", "0"}, {3, nullptr, "1", "0"}}),
      Case("a processor without topology is skipped", "0-2", true, 2, 2,
           {{0, "0", "0", "0"}, {1, nullptr, nullptr, nullptr}, {2, "2", "1", "0"}}),
      Case("no topology anywhere", "0-1", false, 0, 0,
           {{0, nullptr, nullptr, nullptr}, {1, nullptr, nullptr, nullptr}}),
      Case("damaged sibling list falls back to core numbers", "0-1", true, 1, 2,
           {{0, "0-", "0", "0"}, {1, "x", "0", "0"}}),
      Case("empty folder", nullptr, false, 0, 0, {}),
  };
  for (const Case& c : cases) {
    TempFolder folder;
    if (c.online) Write(folder.path() / "online", c.online);
    // Unrelated entries a real folder holds.
    Write(folder.path() / "cpufreq" / "boost", "1\n");
    Write(folder.path() / "cpuidle" / "current_driver", "none\n");
    for (const Processor& p : c.processors) {
      const fs::path topology = folder.path() / ("cpu" + std::to_string(p.id)) / "topology";
      fs::create_directories(folder.path() / ("cpu" + std::to_string(p.id)));
      if (p.siblings) Write(topology / "thread_siblings_list", std::string(p.siblings) + "\n");
      if (p.coreId) Write(topology / "core_id", std::string(p.coreId) + "\n");
      if (p.package) Write(topology / "physical_package_id", std::string(p.package) + "\n");
    }
    uint32_t cores = 99, logical = 99;
    EXPECT_EQ(Kernel::ReadProcessorTopology(folder.path().c_str(), cores, logical), c.ok) << c.name;
    EXPECT_EQ(cores, c.cores) << c.name;
    EXPECT_EQ(logical, c.logical) << c.name;
  }
  // No folder at all.
  uint32_t cores = 5, logical = 5;
  EXPECT_FALSE(Kernel::ReadProcessorTopology("/nonexistent/nk/cpu", cores, logical));
  EXPECT_EQ(cores, 0u);
  EXPECT_EQ(logical, 0u);
  EXPECT_FALSE(Kernel::ReadProcessorTopology(nullptr, cores, logical));
}
