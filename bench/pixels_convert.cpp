// CopyPixels on 4096 x 4096 images for the pairs that dominate real work,
// beside memcpy of the same bytes and the same conversions in pixman and
// babl where they have the formats. Items are pixels, so items_per_second
// reads as pixels per second.
#include <benchmark/benchmark.h>
#include <babl/babl.h>
#include <pixman.h>

#include <cstring>
#include <random>
#include <vector>

#include <kernel/CopyPixels.h>
#include <kernel/MemoryBitmap.h>

using namespace Kernel;

namespace {

constexpr int N = 4096;
constexpr int64_t Pixels = int64_t{N} * N;

void Noise(CBaseBitmap& b) {
  std::mt19937 rng(7);
  uint8_t* p = b.GetBitsBase();
  const size_t n = static_cast<size_t>(b.GetBytesPerScanline()) * b.GetHeight();
  for (size_t i = 0; i < n; i += 4) {
    const uint32_t v = rng();
    std::memcpy(p + i, &v, std::min<size_t>(4, n - i));
  }
}

CPtr<CMemoryBitmap> Make(int bpp, ColourOrder::Type order) {
  CPtr<CMemoryBitmap> b(new CMemoryBitmap(N, N, bpp, order));
  Noise(*b);
  return b;
}

void Convert(benchmark::State& state, int dstBpp, ColourOrder::Type dstOrder, int srcBpp, ColourOrder::Type srcOrder) {
  auto src = Make(srcBpp, srcOrder);
  auto dst = Make(dstBpp, dstOrder);
  for (auto _ : state) {
    CopyPixels(dst.Get(), src.Get(), nullptr, nullptr);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * Pixels);
}

void Memcpy32(benchmark::State& state) {
  std::vector<uint8_t> a(static_cast<size_t>(Pixels) * 4, 1), b(static_cast<size_t>(Pixels) * 4, 2);
  for (auto _ : state) {
    std::memcpy(b.data(), a.data(), a.size());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * Pixels);
}

void Pixman(benchmark::State& state, pixman_format_code_t dstFormat, int dstBpp, pixman_format_code_t srcFormat,
            int srcBpp) {
  const int srcStride = ((N * srcBpp / 8) + 3) & ~3, dstStride = ((N * dstBpp / 8) + 3) & ~3;
  std::vector<uint32_t> s(static_cast<size_t>(srcStride) * N / 4), d(static_cast<size_t>(dstStride) * N / 4);
  std::mt19937 rng(7);
  for (auto& v : s) v = rng();
  pixman_image_t* si = pixman_image_create_bits(srcFormat, N, N, s.data(), srcStride);
  pixman_image_t* di = pixman_image_create_bits(dstFormat, N, N, d.data(), dstStride);
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_SRC, si, nullptr, di, 0, 0, 0, 0, 0, 0, N, N);
    benchmark::ClobberMemory();
  }
  pixman_image_unref(si);
  pixman_image_unref(di);
  state.SetItemsProcessed(state.iterations() * Pixels);
}

void BablConvert(benchmark::State& state, const char* dstFormat, int dstBytes, const char* srcFormat, int srcBytes) {
  babl_init();
  const Babl* fish = babl_fish(babl_format(srcFormat), babl_format(dstFormat));
  std::vector<uint8_t> s(static_cast<size_t>(Pixels) * srcBytes), d(static_cast<size_t>(Pixels) * dstBytes);
  std::mt19937 rng(7);
  for (auto& v : s) v = static_cast<uint8_t>(rng());
  for (auto _ : state) {
    babl_process(fish, s.data(), d.data(), Pixels);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * Pixels);
}

using O = ColourOrder;

}  // namespace

BENCHMARK(Memcpy32)->Name("memcpy_32bit")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, same_RGB32, 32, O::Rgb, 32, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB24_to_RGB32, 32, O::Rgb, 24, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, BGR24_to_RGB32, 32, O::Rgb, 24, O::Bgr)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB32_to_RGB24, 24, O::Rgb, 32, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB32_to_MONO8, 8, O::Mono, 32, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB64_to_RGB32, 32, O::Rgb, 64, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB8_to_RGB32, 32, O::Rgb, 8, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB32_to_RGB8, 8, O::Rgb, 32, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, RGB16_to_RGB32, 32, O::Rgb, 16, O::Rgb)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Convert, CMYK32_to_RGB32, 32, O::Rgb, 32, O::Cmyk)->Unit(benchmark::kMillisecond);
// pixman names channels from the most significant bit of a word: our RGB32
// (bytes blue, green, red, alpha) is its a8r8g8b8, our RGB24 its r8g8b8 and
// our BGR24 its b8g8r8.
BENCHMARK_CAPTURE(Pixman, same_32, PIXMAN_a8r8g8b8, 32, PIXMAN_a8r8g8b8, 32)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Pixman, 24_to_32, PIXMAN_a8r8g8b8, 32, PIXMAN_r8g8b8, 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Pixman, 24swap_to_32, PIXMAN_a8r8g8b8, 32, PIXMAN_b8g8r8, 24)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Pixman, 32_to_24, PIXMAN_r8g8b8, 24, PIXMAN_a8r8g8b8, 32)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Pixman, 565_to_32, PIXMAN_a8r8g8b8, 32, PIXMAN_r5g6b5, 16)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BablConvert, 24_to_32, "R'G'B'A u8", 4, "R'G'B' u8", 3)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BablConvert, 32_to_24, "R'G'B' u8", 3, "R'G'B'A u8", 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BablConvert, 32_to_grey, "Y' u8", 1, "R'G'B'A u8", 4)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(BablConvert, 64_to_32, "R'G'B'A u8", 4, "R'G'B'A u16", 8)->Unit(benchmark::kMillisecond);

BENCHMARK_MAIN();
