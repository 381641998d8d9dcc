// The platform layer's hot paths against the standard library's nearest
// equivalents: string copies (shared buffer vs deep copy), formatting, and
// archive throughput through a memory file.
#include <kernel/CArchive.h>
#include <kernel/CFile.h>
#include <kernel/CString.h>

#include <benchmark/benchmark.h>

#include <cwchar>
#include <string>
#include <vector>

namespace {

const wchar_t* const kText =
    L"A paragraph of text long enough that copying it costs something: the quick brown fox jumps over the "
    L"lazy dog, and then does it again to make the point about copies.";

void CStringCopy(benchmark::State& state) {
  CString source(kText);
  for (auto _ : state) {
    CString copy = source;
    benchmark::DoNotOptimize(copy.GetString());
  }
}
BENCHMARK(CStringCopy);

void WstringCopy(benchmark::State& state) {
  std::wstring source(kText);
  for (auto _ : state) {
    std::wstring copy = source;
    benchmark::DoNotOptimize(copy.data());
  }
}
BENCHMARK(WstringCopy);

void CStringFormat(benchmark::State& state) {
  CString s;
  for (auto _ : state) {
    s.Format(L"item %d of %s at %.3f (%I64x)", 42, L"forty-two", 3.14159, 0xABCDEFULL);
    benchmark::DoNotOptimize(s.GetString());
  }
}
BENCHMARK(CStringFormat);

void Swprintf(benchmark::State& state) {
  wchar_t buf[128];
  for (auto _ : state) {
    std::swprintf(buf, 128, L"item %d of %ls at %.3f (%llx)", 42, L"forty-two", 3.14159, 0xABCDEFULL);
    benchmark::DoNotOptimize(buf);
  }
}
BENCHMARK(Swprintf);

void ArchiveStoreDwords(benchmark::State& state) {
  const int n = 1 << 16;
  for (auto _ : state) {
    CMemFile file(1 << 20);
    CArchive ar(&file, CArchive::store);
    for (int i = 0; i < n; ++i) ar << static_cast<DWORD>(i);
    ar.Close();
    benchmark::DoNotOptimize(file.GetBufferPtr());
  }
  state.SetBytesProcessed(state.iterations() * n * 4);
}
BENCHMARK(ArchiveStoreDwords);

void ArchiveLoadStrings(benchmark::State& state) {
  CMemFile file;
  {
    CArchive ar(&file, CArchive::store);
    for (int i = 0; i < 1000; ++i) ar << CString(kText);
  }
  std::vector<BYTE> bytes(file.GetBufferPtr(), file.GetBufferPtr() + file.GetLength());
  for (auto _ : state) {
    CMemFile in(bytes.data(), static_cast<UINT>(bytes.size()));
    CArchive ar(&in, CArchive::load);
    CString s;
    for (int i = 0; i < 1000; ++i) ar >> s;
    benchmark::DoNotOptimize(s.GetString());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(bytes.size()));
}
BENCHMARK(ArchiveLoadStrings);

}  // namespace

BENCHMARK_MAIN();
