// norvik memory: the memory manager at work. Raw blocks are allocated and
// filled far beyond an address-space limit; the manager writes the least
// recently used ones to disposal files whenever an allocation fails and reads
// them back on their next use. At the end every byte of every block is
// checked.
#include "Command.h"

#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>
#include <kernel/ResourceMonitor.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <memory>
#include <random>
#include <string>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using Block = Kernel::RefRawData<Kernel::Allocator>;

struct Scenario {
  uint64_t limitMiB = 0;
  int blocks = 0;
  uint64_t blockMiB = 0;
  std::filesystem::path folder;
};

struct Outcome {
  Kernel::DisposalStatistics stats;
  int verified = 0;
  int touches = 0;
  double seconds = 0;
};

// Distinct in every block, every filling and every 8-byte word.
uint64_t Word(uint64_t id, uint64_t generation, uint64_t i) {
  uint64_t x = (id << 40) ^ (generation << 32) ^ i;
  x ^= x >> 33;
  x *= 0xff51afd7ed558ccdull;
  x ^= x >> 29;
  return x;
}

void Fill(Block& b, uint64_t id, uint64_t generation) {
  auto* p = reinterpret_cast<uint64_t*>(b.GetData());
  for (uint64_t i = 0; i < b.GetSize() / 8; ++i) p[i] = Word(id, generation, i);
}

bool Verify(const Block& b, uint64_t id, uint64_t generation) {
  const auto* p = reinterpret_cast<const uint64_t*>(b.GetConstData());
  if (p == nullptr) return false;
  for (uint64_t i = 0; i < b.GetSize() / 8; ++i)
    if (p[i] != Word(id, generation, i)) return false;
  return true;
}

uint64_t AddressSpaceInUse() {
  uint64_t pages = 0;
  std::ifstream("/proc/self/statm") >> pages;
  return pages * static_cast<uint64_t>(sysconf(_SC_PAGESIZE));
}

// Lowers the soft address-space limit for a scope; the hard limit stays, so
// the old value can be put back.
class AddressSpaceLimit {
 public:
  explicit AddressSpaceLimit(uint64_t extraBytes) {
    getrlimit(RLIMIT_AS, &m_saved);
    rlimit lowered = m_saved;
    lowered.rlim_cur = AddressSpaceInUse() + extraBytes;
    if (m_saved.rlim_cur != RLIM_INFINITY && lowered.rlim_cur > m_saved.rlim_cur) lowered.rlim_cur = m_saved.rlim_cur;
    if (setrlimit(RLIMIT_AS, &lowered) != 0) throw norvik::Failure("cannot lower the address-space limit");
  }
  ~AddressSpaceLimit() { setrlimit(RLIMIT_AS, &m_saved); }
  AddressSpaceLimit(const AddressSpaceLimit&) = delete;
  AddressSpaceLimit& operator=(const AddressSpaceLimit&) = delete;

 private:
  rlimit m_saved;
};

// On a terminal one line that counts up; elsewhere a line per finished phase.
void Progress(bool terminal, const char* phase, int done, int total) {
  if (terminal) {
    std::printf("\r%s %d/%d   ", phase, done, total);
    if (done == total) std::printf("\n");
  } else if (done == total) {
    std::printf("%s %d/%d\n", phase, done, total);
  }
  std::fflush(stdout);
}

Outcome RunScenario(const Scenario& s, bool terminal) {
  Kernel::MemoryManager& manager = Kernel::MemoryManager::GetInstance();
  const CString previousFolder = manager.GetDisposalPath();
  manager.SetDisposalPath(CString(s.folder.wstring().c_str()));
  if (!Kernel::COSResourceMonitor::Init(CString(L"norvik")))
    throw norvik::Failure("cannot read this system's memory figures (/proc)");
  const uint64_t blockBytes = s.blockMiB << 20;
  const auto before = Kernel::GetDisposalStatistics();
  const auto t0 = std::chrono::steady_clock::now();
  Outcome outcome;
  std::vector<std::unique_ptr<Block>> blocks;
  std::vector<uint64_t> generation(static_cast<size_t>(s.blocks), 0);
  std::string failure;
  {
    AddressSpaceLimit limit(s.limitMiB << 20);
    for (int i = 0; i < s.blocks && failure.empty(); ++i) {
      Progress(terminal, "allocating and filling block", i + 1, s.blocks);
      auto block = std::make_unique<Block>(blockBytes);
      if (block->GetSize() != blockBytes) {
        failure = "block " + std::to_string(i + 1) +
                  " could not be allocated even with every other block on disk; raise --limit";
        break;
      }
      Fill(*block, static_cast<uint64_t>(i), 0);
      manager.Attach(block.get());
      blocks.push_back(std::move(block));
    }
    // Random use: each touch reads a block (back from disk if it was
    // flushed), checks it, and now and then writes new contents.
    std::mt19937 random(20240601);
    const int touches = failure.empty() ? s.blocks * 3 : 0;
    for (int t = 0; t < touches && failure.empty(); ++t) {
      Progress(terminal, "touching blocks in random order", t + 1, touches);
      const auto i = static_cast<size_t>(random() % static_cast<unsigned>(s.blocks));
      manager.Touch(blocks[i].get());
      if (!Verify(*blocks[i], i, generation[i])) failure = "block " + std::to_string(i + 1) + " came back changed";
      if (t % 3 == 0) Fill(*blocks[i], i, ++generation[i]);
      ++outcome.touches;
    }
    for (size_t i = 0; i < blocks.size() && failure.empty(); ++i) {
      Progress(terminal, "verifying block", static_cast<int>(i + 1), s.blocks);
      if (Verify(*blocks[i], i, generation[i])) {
        ++outcome.verified;
      } else {
        failure = "block " + std::to_string(i + 1) + " failed its final check";
      }
    }
    for (auto& b : blocks) manager.Detach(b.get());
    blocks.clear();  // deletes the files of blocks still on disk
  }
  manager.SetDisposalPath(previousFolder);
  if (!failure.empty()) throw norvik::Failure(failure);
  const auto after = Kernel::GetDisposalStatistics();
  outcome.stats.flushes = after.flushes - before.flushes;
  outcome.stats.restores = after.restores - before.restores;
  outcome.stats.bytesWritten = after.bytesWritten - before.bytesWritten;
  outcome.stats.bytesRead = after.bytesRead - before.bytesRead;
  outcome.stats.missingFiles = after.missingFiles - before.missingFiles;
  outcome.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
  return outcome;
}

std::string Summary(const Scenario& s, const Outcome& o) {
  char text[512];
  std::snprintf(text, sizeof text,
                "%d blocks of %llu MiB under a limit of %llu MiB, %d random touches in %.2f s\n"
                "flushed %llu blocks, restored %llu blocks, wrote %.1f MiB to disk, read %.1f MiB back\n"
                "all %d blocks verified\n",
                s.blocks, static_cast<unsigned long long>(s.blockMiB), static_cast<unsigned long long>(s.limitMiB),
                o.touches, o.seconds, static_cast<unsigned long long>(o.stats.flushes),
                static_cast<unsigned long long>(o.stats.restores),
                static_cast<double>(o.stats.bytesWritten) / 1048576.0,
                static_cast<double>(o.stats.bytesRead) / 1048576.0, o.verified);
  return text;
}

uint64_t PositiveNumber(const std::string& option, const std::string& text) {
  char* end = nullptr;
  const unsigned long long v = std::strtoull(text.c_str(), &end, 10);
  if (text.empty() || *end != '\0' || v == 0 || v > (1ull << 20))
    throw norvik::UsageError(option + " needs a positive whole number, not '" + text + "'");
  return v;
}

// A scratch folder that is removed again, for runs without --folder.
class ScratchFolder {
 public:
  ScratchFolder() {
    std::string pattern = (std::filesystem::temp_directory_path() / "norvik-memory-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) throw norvik::Failure("cannot create a scratch folder");
    m_path = pattern;
  }
  ~ScratchFolder() {
    std::error_code ec;
    std::filesystem::remove_all(m_path, ec);
  }
  const std::filesystem::path& Path() const { return m_path; }

 private:
  std::filesystem::path m_path;
};

int RunMemory(const norvik::Args& args) {
  Scenario s;
  bool haveLimit = false, haveBlocks = false, haveSize = false;
  for (size_t i = 0; i < args.size(); ++i) {
    const std::string& a = args[i];
    if (i + 1 >= args.size()) throw norvik::UsageError("missing value after " + a);
    const std::string& v = args[++i];
    if (a == "--limit") {
      s.limitMiB = PositiveNumber(a, v);
      haveLimit = true;
    } else if (a == "--blocks") {
      s.blocks = static_cast<int>(PositiveNumber(a, v));
      haveBlocks = true;
    } else if (a == "--size") {
      s.blockMiB = PositiveNumber(a, v);
      haveSize = true;
    } else if (a == "--folder") {
      s.folder = v;
    } else {
      throw norvik::UsageError("unknown option " + a);
    }
  }
  if (!haveLimit || !haveBlocks || !haveSize) throw norvik::UsageError("--limit, --blocks and --size are required");
  if (s.limitMiB < s.blockMiB + 4) throw norvik::UsageError("--limit must leave room for one block and 4 MiB more");
  std::unique_ptr<ScratchFolder> scratch;
  if (s.folder.empty()) {
    scratch = std::make_unique<ScratchFolder>();
    s.folder = scratch->Path();
  } else {
    std::error_code ec;
    if (!std::filesystem::is_directory(s.folder, ec)) throw norvik::UsageError("no such folder: " + s.folder.string());
  }
  std::printf("disposal folder: %s\n", s.folder.string().c_str());
  const Outcome o = RunScenario(s, isatty(STDOUT_FILENO) != 0);
  std::printf("%s", Summary(s, o).c_str());
  return 0;
}

void DemoMemory(const std::filesystem::path& folder) {
  Scenario s;
  s.limitMiB = 24;
  s.blocks = 24;
  s.blockMiB = 2;
  s.folder = folder / "disposal";
  std::filesystem::create_directories(s.folder);
  const Outcome o = RunScenario(s, false);
  std::filesystem::remove(s.folder);
  const std::string text = Summary(s, o);
  std::ofstream(folder / "memory.txt") << text;
  std::printf("%s", text.c_str());
}

}  // namespace

NK_COMMAND("memory", "memory --limit MB --blocks N --size MB [--folder DIR]",
           "Allocates N raw blocks of --size MiB each and fills them, with the process\n"
           "allowed only --limit MiB of address space beyond what it already uses.\n"
           "Whenever an allocation fails, the memory manager writes the least recently\n"
           "used blocks to disposal files in DIR (default: a scratch folder that is\n"
           "removed afterwards) and reads them back when they are used again. The blocks\n"
           "are then used in random order and every byte of every block is checked.\n"
           "Prints how many blocks were flushed and restored and the bytes written.\n",
           &RunMemory);

NK_DEMO(50, "Memory manager: 48 MiB of blocks in a 24 MiB address-space allowance", &DemoMemory);
