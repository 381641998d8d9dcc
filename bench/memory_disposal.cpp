// Disposal throughput: a raw block written to its disposal file and read
// back, against a plain write and read of the same bytes to the same folder
// (create, write, close; open, read, close, delete), once into a buffer that
// stays and once with the buffer freed and allocated again in between, as the
// block's round trip does (which also inverts every byte twice).
// The folder is $NK_BENCH_FOLDER, or a scratch folder in the temporary
// directory.
#include <kernel/MemoryManager.h>
#include <kernel/RawData.h>

#include <benchmark/benchmark.h>

#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <string>
#include <unistd.h>

namespace {

using Block = Kernel::RefRawData<Kernel::Allocator>;

const std::filesystem::path& Folder() {
  static const std::filesystem::path folder = [] {
    if (const char* given = std::getenv("NK_BENCH_FOLDER")) return std::filesystem::path(given);
    std::string pattern = (std::filesystem::temp_directory_path() / "nk-bench-XXXXXX").string();
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    return std::filesystem::path(pattern);
  }();
  return folder;
}

void FlushRestore(benchmark::State& state) {
  const auto size = static_cast<uint64_t>(state.range(0));
  Kernel::MemoryManager::GetInstance().SetDisposalPath(CString(Folder().wstring().c_str()));
  Block block(size);
  std::memset(block.GetData(), 0x5A, size);
  for (auto _ : state) {
    if (!block.FlushToDisk()) state.SkipWithError("flush failed");
    benchmark::DoNotOptimize(block.GetConstData());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

void PlainWriteRead(benchmark::State& state) {
  const auto size = static_cast<size_t>(state.range(0));
  std::vector<unsigned char> bytes(size, 0x5A);
  const std::string path = (Folder() / "plain.dat").string();
  for (auto _ : state) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || ::write(fd, bytes.data(), size) != static_cast<ssize_t>(size)) state.SkipWithError("write failed");
    ::close(fd);
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::read(fd, bytes.data(), size) != static_cast<ssize_t>(size)) state.SkipWithError("read failed");
    ::close(fd);
    ::unlink(path.c_str());
    benchmark::DoNotOptimize(bytes.data());
  }
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

// The same, but the buffer is given back after writing and taken afresh for
// reading, as any disposal that actually frees memory has to.
void PlainWriteFreeRead(benchmark::State& state) {
  const auto size = static_cast<size_t>(state.range(0));
  std::vector<unsigned char> source(size, 0x5A);
  const std::string path = (Folder() / "plain.dat").string();
  auto* bytes = static_cast<unsigned char*>(std::malloc(size));
  std::memcpy(bytes, source.data(), size);
  for (auto _ : state) {
    int fd = ::open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd < 0 || ::write(fd, bytes, size) != static_cast<ssize_t>(size)) state.SkipWithError("write failed");
    ::close(fd);
    std::free(bytes);
    bytes = static_cast<unsigned char*>(std::malloc(size));
    fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0 || ::read(fd, bytes, size) != static_cast<ssize_t>(size)) state.SkipWithError("read failed");
    ::close(fd);
    ::unlink(path.c_str());
    benchmark::DoNotOptimize(bytes);
  }
  std::free(bytes);
  state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * size));
}

}  // namespace

BENCHMARK(FlushRestore)->RangeMultiplier(4)->Range(1 << 20, 64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(PlainWriteRead)->RangeMultiplier(4)->Range(1 << 20, 64 << 20)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(PlainWriteFreeRead)
    ->RangeMultiplier(4)
    ->Range(1 << 20, 64 << 20)
    ->UseRealTime()
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  std::error_code ec;
  if (std::getenv("NK_BENCH_FOLDER") == nullptr) std::filesystem::remove_all(Folder(), ec);
  return 0;
}
