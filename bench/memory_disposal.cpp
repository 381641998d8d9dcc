// Disposal throughput: a raw block written to its disposal file and read
// back, against a plain write and read of the same bytes to the same folder
// (create, write, close; open, read, close, delete), once into a buffer that
// stays and once with the buffer freed and allocated again in between, as the
// block's round trip does (which also inverts every byte twice).
//
// Each iteration runs all three round trips, in an order that rotates, and
// times each one: on a shared virtual machine whose speed drifts by tens of
// percent from one second to the next, only ratios taken within one
// iteration are stable. The counters give the mean time of each and the
// ratios of the totals (plain time / block time; 1 or more means the block
// is as fast).
//
// The folder is $NK_BENCH_FOLDER, or a scratch folder in the temporary
// directory.
#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>

#include <benchmark/benchmark.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

using Block = Kernel::RefRawData<Kernel::Allocator>;
using Clock = std::chrono::steady_clock;

const std::filesystem::path& Folder() {
  static const std::filesystem::path folder = [] {
    if (const char* given = std::getenv("NK_BENCH_FOLDER")) return std::filesystem::path(given);
    std::string pattern = (std::filesystem::temp_directory_path() / "nk-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return std::filesystem::path(pattern);
  }();
  return folder;
}

bool WriteFile(const std::string& path, const unsigned char* bytes, size_t size) {
  const int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
  if (fd < 0) return false;
  const bool ok = ::write(fd, bytes, size) == static_cast<ssize_t>(size);
  return ::close(fd) == 0 && ok;
}

bool ReadFileAndDelete(const std::string& path, unsigned char* bytes, size_t size) {
  const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
  if (fd < 0) return false;
  const bool ok = ::read(fd, bytes, size) == static_cast<ssize_t>(size);
  ::close(fd);
  return ::unlink(path.c_str()) == 0 && ok;
}

void DisposalRoundTrip(benchmark::State& state) {
  const auto size = static_cast<size_t>(state.range(0));
  Kernel::MemoryManager::GetInstance().SetDisposalPath(CString(Folder().wstring().c_str()));
  const std::string path = (Folder() / "plain.dat").string();

  Block block(size);
  std::memset(block.GetData(), 0x5A, size);
  auto* kept = static_cast<unsigned char*>(std::malloc(size));
  auto* freed = static_cast<unsigned char*>(std::malloc(size));
  std::memset(kept, 0x5A, size);
  std::memset(freed, 0x5A, size);

  // The block's round trip: flush to disk (the buffer is freed), then read
  // back on first access.
  auto blockTrip = [&] {
    if (!block.FlushToDisk()) return false;
    benchmark::DoNotOptimize(block.GetConstData());
    return true;
  };
  auto keptTrip = [&] { return WriteFile(path, kept, size) && ReadFileAndDelete(path, kept, size); };
  auto freedTrip = [&] {
    if (!WriteFile(path, freed, size)) return false;
    std::free(freed);
    freed = static_cast<unsigned char*>(std::malloc(size));
    return freed != nullptr && ReadFileAndDelete(path, freed, size);
  };

  double seconds[3] = {0, 0, 0};
  int64_t turn = 0;
  for (auto _ : state) {
    for (int k = 0; k < 3; ++k) {
      const int which = static_cast<int>((turn + k) % 3);
      const auto start = Clock::now();
      const bool ok = which == 0 ? blockTrip() : which == 1 ? keptTrip() : freedTrip();
      seconds[which] += std::chrono::duration<double>(Clock::now() - start).count();
      if (!ok) {
        state.SkipWithError("round trip failed");
        break;
      }
    }
    ++turn;
  }
  std::free(kept);
  std::free(freed);
  const double n = static_cast<double>(state.iterations());
  state.counters["block_ms"] = 1e3 * seconds[0] / n;
  state.counters["plain_ms"] = 1e3 * seconds[1] / n;
  state.counters["plain_free_ms"] = 1e3 * seconds[2] / n;
  state.counters["vs_plain"] = seconds[1] / seconds[0];
  state.counters["vs_plain_free"] = seconds[2] / seconds[0];
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

}  // namespace

BENCHMARK(DisposalRoundTrip)->RangeMultiplier(4)->Range(1 << 20, 64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ec;
  if (std::getenv("NK_BENCH_FOLDER") == nullptr) std::filesystem::remove_all(Folder(), ec);
  return 0;
}
