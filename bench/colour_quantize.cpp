// Octree quantisation of a photo-like image against libimagequant.
//
// Both quantise AND remap one 1024 x 1024 image (smooth gradients, shapes and
// noise: hundreds of thousands of distinct colours) to 256 and to 16 colours,
// from the same RGBA memory. libimagequant runs at speed 10 (its fastest)
// without dithering for the like-for-like rows, with its default dithering
// beside our Floyd-Steinberg for the dithered rows.
//
// Counters: mse is the mean squared error over the red, green and blue
// channels of the result against the original (computed here the same way
// for both, outside the timed loop); colours is the palette size.
//
// Threads: Debian builds libimagequant with OpenMP, whose thread count is
// read from OMP_NUM_THREADS when the runtime loads, before main runs. main
// therefore sets OMP_NUM_THREADS=1 and runs the program again when it is not
// already 1, so libimagequant works on one thread like the octree.
#include <benchmark/benchmark.h>

#include <libimagequant.h>
#include <unistd.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include <kernel/MemoryBitmap.h>
#include <kernel/Quantizer.h>

using namespace Kernel;

namespace {

constexpr int c_size = 1024;

uint32_t Hash(uint32_t v) {
  v ^= v >> 16;
  v *= 0x7FEB352Du;
  v ^= v >> 15;
  v *= 0x846CA68Bu;
  v ^= v >> 16;
  return v;
}

uint8_t Clamp(double v) { return static_cast<uint8_t>(v < 0 ? 0 : (v > 255 ? 255 : std::lround(v))); }

// A BGR32 bitmap (memory red, green, blue, 255: RGBA as libimagequant reads
// it): a sky-like gradient, a few shaded discs and bands, and noise.
const CMemoryBitmap& Photo() {
  static const CPtr<CMemoryBitmap> image = [] {
    CPtr<CMemoryBitmap> bm(new CMemoryBitmap(c_size, c_size, 32, ColourOrder::Bgr));
    struct Disc {
      double x, y, radius, r, g, b;
    };
    const Disc discs[] = {{300, 350, 180, 220, 120, 40},
                          {700, 600, 250, 40, 160, 90},
                          {850, 200, 120, 200, 200, 230},
                          {200, 800, 160, 120, 60, 150}};
    for (int y = 0; y < c_size; ++y) {
      uint8_t* row = bm->GetBits(CPoint(0, y));
      for (int x = 0; x < c_size; ++x) {
        double r = 60 + 150.0 * y / c_size + 30 * std::sin(x / 97.0);
        double g = 90 + 100.0 * x / c_size + 25 * std::cos(y / 71.0);
        double b = 200 - 120.0 * y / c_size + 20 * std::sin((x + y) / 53.0);
        for (const Disc& d : discs) {
          const double dist = std::hypot(x - d.x, y - d.y) / d.radius;
          if (dist < 1) {
            const double shade = 1.2 - 0.6 * dist;  // lit from the middle
            r = d.r * shade, g = d.g * shade, b = d.b * shade;
          }
        }
        if ((x / 64 + y / 48) % 7 == 0) r *= 0.7, g *= 0.8;  // a checkered band
        const uint32_t n = Hash(static_cast<uint32_t>(y * c_size + x));
        const auto noise = [&](int shift) { return static_cast<double>((n >> shift) & 31) - 15.5; };
        row[4 * x] = Clamp(r + noise(0));
        row[4 * x + 1] = Clamp(g + noise(5));
        row[4 * x + 2] = Clamp(b + noise(10));
        row[4 * x + 3] = 255;
      }
    }
    return bm;
  }();
  return *image;
}

size_t DistinctColours(const CMemoryBitmap& bm) {
  std::vector<uint8_t> seen(1u << 24, 0);
  size_t count = 0;
  for (int y = 0; y < bm.GetHeight(); ++y) {
    const uint8_t* row = bm.GetBits(CPoint(0, y));
    for (int x = 0; x < bm.GetWidth(); ++x) {
      const uint32_t c = row[4 * x] | row[4 * x + 1] << 8 | row[4 * x + 2] << 16;
      count += seen[c] == 0;
      seen[c] = 1;
    }
  }
  return count;
}

// Mean squared error over red, green and blue of indices + palette (red,
// green, blue triples) against the photo.
double Error(const std::vector<uint8_t>& indices, const std::vector<uint8_t>& rgb) {
  const CMemoryBitmap& bm = Photo();
  double sum = 0;
  for (int y = 0; y < c_size; ++y) {
    const uint8_t* row = bm.GetBits(CPoint(0, y));
    for (int x = 0; x < c_size; ++x) {
      const uint8_t* e = &rgb[3 * indices[static_cast<size_t>(y * c_size + x)]];
      for (int k = 0; k < 3; ++k) {
        const double d = row[4 * x + k] - e[k];
        sum += d * d;
      }
    }
  }
  return sum / (3.0 * c_size * c_size);
}

void Octree(benchmark::State& state) {
  const CMemoryBitmap& photo = Photo();
  const int colours = static_cast<int>(state.range(0));
  const bool dither = state.range(1) != 0;
  CQuantizeResult result;
  for (auto _ : state) {
    result = QuantizeBitmap(photo, colours, dither);
    benchmark::DoNotOptimize(result.bitmap->GetBitsBase());
  }
  std::vector<uint8_t> indices, rgb;
  for (int y = 0; y < c_size; ++y) {
    const uint8_t* row = result.bitmap->GetBits(CPoint(0, y));
    indices.insert(indices.end(), row, row + c_size);
  }
  for (const RGBQUAD& e : result.palette) rgb.insert(rgb.end(), {e.rgbRed, e.rgbGreen, e.rgbBlue});
  state.counters["mse"] = Error(indices, rgb);
  state.counters["colours"] = static_cast<double>(result.palette.size());
}

void ImageQuant(benchmark::State& state) {
  const CMemoryBitmap& photo = Photo();
  const int colours = static_cast<int>(state.range(0));
  const bool dither = state.range(1) != 0;
  std::vector<uint8_t> indices(static_cast<size_t>(c_size) * c_size), rgb;
  for (auto _ : state) {
    liq_attr* attr = liq_attr_create();
    liq_set_max_colors(attr, colours);
    liq_set_speed(attr, 10);
    liq_image* image = liq_image_create_rgba(attr, photo.GetBitsBase(), c_size, c_size, 0);
    liq_result* result = nullptr;
    if (liq_image_quantize(image, attr, &result) != LIQ_OK) {
      state.SkipWithError("liq_image_quantize failed");
      break;
    }
    liq_set_dithering_level(result, dither ? 1.0f : 0.0f);
    liq_write_remapped_image(result, image, indices.data(), indices.size());
    const liq_palette* palette = liq_get_palette(result);
    rgb.clear();
    for (unsigned i = 0; i < palette->count; ++i)
      rgb.insert(rgb.end(), {palette->entries[i].r, palette->entries[i].g, palette->entries[i].b});
    liq_result_destroy(result);
    liq_image_destroy(image);
    liq_attr_destroy(attr);
  }
  state.counters["mse"] = Error(indices, rgb);
  state.counters["colours"] = static_cast<double>(rgb.size() / 3);
}

}  // namespace

BENCHMARK(Octree)
    ->ArgNames({"colours", "dither"})
    ->Args({256, 0})
    ->Args({16, 0})
    ->Args({256, 1})
    ->Args({16, 1})
    ->Unit(benchmark::kMillisecond);
BENCHMARK(ImageQuant)
    ->ArgNames({"colours", "dither"})
    ->Args({256, 0})
    ->Args({16, 0})
    ->Args({256, 1})
    ->Args({16, 1})
    ->Unit(benchmark::kMillisecond);

int main(int argc, char** argv) {
  const char* threads = std::getenv("OMP_NUM_THREADS");
  if (threads == nullptr || std::strcmp(threads, "1") != 0) {
    setenv("OMP_NUM_THREADS", "1", 1);
    execv("/proc/self/exe", argv);
    std::perror("colour_quantize: cannot restart with OMP_NUM_THREADS=1");
    return 1;
  }
  std::printf("photo: %d x %d, %zu distinct colours; libimagequant %d on one thread\n", c_size, c_size,
              DistinctColours(Photo()), liq_version());
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 1;
  benchmark::RunSpecifiedBenchmarks();
  benchmark::Shutdown();
  return 0;
}
