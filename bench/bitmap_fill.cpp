// Fills of CBaseBitmap against pixman, the peer library most compositors use:
// a solid 32-bit fill, and a solid colour through an 8-bit coverage mask.
#include <benchmark/benchmark.h>
#include <pixman.h>

#include <kernel/MemoryBitmap.h>

namespace {

using Kernel::CMemoryBitmap;
using Kernel::ColourOrder;

constexpr int kSize = 1024;

CMemoryBitmap Ramp() {
  CMemoryBitmap mask(kSize, kSize, 8, ColourOrder::Mono);
  for (int y = 0; y < kSize; ++y)
    for (int x = 0; x < kSize; ++x) *mask.GetBits(CPoint(x, y)) = static_cast<uint8_t>((x + y) & 0xFF);
  return mask;
}

void BM_KernelSolidRect32(benchmark::State& state) {
  CMemoryBitmap bm(kSize, kSize, 32, ColourOrder::Bgr);
  const CRect rect(1, 1, kSize - 1, kSize - 1);  // not full width: the per-pixel path
  for (auto _ : state) {
    bm.Clear(0xFF336699u, &rect);
    benchmark::DoNotOptimize(bm.GetBitsBase());
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

void BM_KernelSolidClip32(benchmark::State& state) {
  CMemoryBitmap bm(kSize, kSize, 32, ColourOrder::Bgr);
  for (auto _ : state) {
    bm.Clear(nullptr, 0xFF336699u);
    benchmark::DoNotOptimize(bm.GetBitsBase());
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

void BM_PixmanSolidFill32(benchmark::State& state) {
  CMemoryBitmap bm(kSize, kSize, 32, ColourOrder::Bgr);
  auto* bits = reinterpret_cast<uint32_t*>(bm.GetBitsBase());
  for (auto _ : state) {
    pixman_fill(bits, bm.GetBytesPerScanline() / 4, 32, 1, 1, kSize - 2, kSize - 2, 0xFF336699u);
    benchmark::DoNotOptimize(bm.GetBitsBase());
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

void BM_KernelMaskedFill32(benchmark::State& state) {
  CMemoryBitmap bm(kSize, kSize, 32, ColourOrder::Bgr);
  const CMemoryBitmap mask = Ramp();
  for (auto _ : state) {
    bm.Clear(&mask, 0xFF336699u);
    benchmark::DoNotOptimize(bm.GetBitsBase());
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

// The nearest pixman operation: solid source IN an a8 mask, SRC-blended
// toward the colour (LERP is what the masked fill computes per channel).
void BM_PixmanMaskedFill32(benchmark::State& state) {
  CMemoryBitmap bm(kSize, kSize, 32, ColourOrder::Bgr);
  CMemoryBitmap mask = Ramp();
  pixman_image_t* dst = pixman_image_create_bits(
      PIXMAN_a8r8g8b8, kSize, kSize, reinterpret_cast<uint32_t*>(bm.GetBitsBase()), bm.GetBytesPerScanline());
  pixman_image_t* msk = pixman_image_create_bits(
      PIXMAN_a8, kSize, kSize, reinterpret_cast<uint32_t*>(mask.GetBitsBase()), mask.GetBytesPerScanline());
  const pixman_color_t colour = {0x3333, 0x6666, 0x9999, 0xFFFF};
  pixman_image_t* src = pixman_image_create_solid_fill(&colour);
  for (auto _ : state) {
    pixman_image_composite32(PIXMAN_OP_SRC, src, msk, dst, 0, 0, 0, 0, 0, 0, kSize, kSize);
    benchmark::DoNotOptimize(bm.GetBitsBase());
  }
  pixman_image_unref(src);
  pixman_image_unref(msk);
  pixman_image_unref(dst);
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize * 4);
}

void BM_KernelMaskedFillGrey8(benchmark::State& state) {
  CMemoryBitmap bm(kSize, kSize, 8, ColourOrder::Mono);
  const CMemoryBitmap mask = Ramp();
  for (auto _ : state) {
    bm.Clear(&mask, 200);
    benchmark::DoNotOptimize(bm.GetBitsBase());
  }
  state.SetBytesProcessed(state.iterations() * int64_t{kSize} * kSize);
}

}  // namespace

BENCHMARK(BM_KernelSolidRect32);
BENCHMARK(BM_KernelSolidClip32);
BENCHMARK(BM_PixmanSolidFill32);
BENCHMARK(BM_KernelMaskedFill32);
BENCHMARK(BM_PixmanMaskedFill32);
BENCHMARK(BM_KernelMaskedFillGrey8);
BENCHMARK_MAIN();
