// Rectangle-list set operations against pixman's regions, on the same
// random input: 10 000 rectangles of 4-64 pixels on a 4096 x 4096 canvas
// are added one at a time, then 1 000 more are subtracted from the result.
// Each benchmark reports the rectangle count it ends with and the covered
// area (which must agree between the two libraries).
#include <kernel/RectList.h>

#include <benchmark/benchmark.h>
#include <pixman.h>

#include <cstdint>
#include <random>
#include <vector>

namespace {

constexpr int kCanvas = 4096;

std::vector<CRect> RandomRects(int count, unsigned seed) {
  std::mt19937 rng(seed);
  std::uniform_int_distribution<int> size(4, 64);
  std::uniform_int_distribution<int> pos(0, kCanvas - 64);
  std::vector<CRect> rects;
  rects.reserve(count);
  for (int i = 0; i < count; ++i) {
    const int x = pos(rng), y = pos(rng);
    rects.emplace_back(x, y, x + size(rng), y + size(rng));
  }
  return rects;
}

const std::vector<CRect>& Added() {
  static const std::vector<CRect> rects = RandomRects(10000, 1);
  return rects;
}
const std::vector<CRect>& Subtracted() {
  static const std::vector<CRect> rects = RandomRects(1000, 2);
  return rects;
}

int64_t Area(const Kernel::CRectList& list) {
  int64_t a = 0;
  for (const CRect& r : list) a += int64_t(r.right - r.left) * (r.bottom - r.top);
  return a;
}

int64_t Area(pixman_region32_t* region, int* count) {
  const pixman_box32_t* boxes = pixman_region32_rectangles(region, count);
  int64_t a = 0;
  for (int i = 0; i < *count; ++i) a += int64_t(boxes[i].x2 - boxes[i].x1) * (boxes[i].y2 - boxes[i].y1);
  return a;
}

Kernel::CRectList NorvikUnion() {
  Kernel::CRectList list;
  for (const CRect& r : Added()) list.AddUnion(r);
  return list;
}

void PixmanUnion(pixman_region32_t* region) {
  pixman_region32_init(region);
  for (const CRect& r : Added())
    pixman_region32_union_rect(region, region, r.left, r.top, unsigned(r.right - r.left), unsigned(r.bottom - r.top));
}

void BM_AddUnion_Norvik(benchmark::State& state) {
  Kernel::CRectList list;
  for (auto _ : state) {
    list = NorvikUnion();
    benchmark::DoNotOptimize(list.size());
  }
  state.counters["rects"] = double(list.size());
  state.counters["area"] = double(Area(list));
}

void BM_AddUnion_Pixman(benchmark::State& state) {
  pixman_region32_t region;
  int64_t area = 0;
  int count = 0;
  for (auto _ : state) {
    PixmanUnion(&region);
    state.PauseTiming();
    area = Area(&region, &count);
    pixman_region32_fini(&region);
    state.ResumeTiming();
  }
  state.counters["rects"] = count;
  state.counters["area"] = double(area);
}

void BM_AddUnion_PixmanBulk(benchmark::State& state) {
  std::vector<pixman_box32_t> boxes;
  for (const CRect& r : Added()) boxes.push_back({r.left, r.top, r.right, r.bottom});
  int64_t area = 0;
  int count = 0;
  for (auto _ : state) {
    pixman_region32_t region;
    pixman_region32_init_rects(&region, boxes.data(), int(boxes.size()));
    state.PauseTiming();
    area = Area(&region, &count);
    pixman_region32_fini(&region);
    state.ResumeTiming();
  }
  state.counters["rects"] = count;
  state.counters["area"] = double(area);
}

void BM_SubtractUnion_Norvik(benchmark::State& state) {
  const Kernel::CRectList start = NorvikUnion();
  Kernel::CRectList list;
  for (auto _ : state) {
    state.PauseTiming();
    list = start;
    state.ResumeTiming();
    for (const CRect& r : Subtracted()) list.SubtractUnion(r);
    benchmark::DoNotOptimize(list.size());
  }
  state.counters["rects"] = double(list.size());
  state.counters["area"] = double(Area(list));
  state.counters["start_rects"] = double(start.size());
}

void BM_SubtractUnion_Pixman(benchmark::State& state) {
  pixman_region32_t start;
  PixmanUnion(&start);
  int64_t area = 0;
  int count = 0;
  for (auto _ : state) {
    state.PauseTiming();
    pixman_region32_t region;
    pixman_region32_init(&region);
    pixman_region32_copy(&region, &start);
    state.ResumeTiming();
    for (const CRect& r : Subtracted()) {
      pixman_region32_t cut;
      pixman_region32_init_rect(&cut, r.left, r.top, unsigned(r.right - r.left), unsigned(r.bottom - r.top));
      pixman_region32_subtract(&region, &region, &cut);
      pixman_region32_fini(&cut);
    }
    state.PauseTiming();
    area = Area(&region, &count);
    pixman_region32_fini(&region);
    state.ResumeTiming();
  }
  int startCount = 0;
  Area(&start, &startCount);
  pixman_region32_fini(&start);
  state.counters["rects"] = count;
  state.counters["area"] = double(area);
  state.counters["start_rects"] = startCount;
}

}  // namespace

BENCHMARK(BM_AddUnion_Norvik)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_AddUnion_Pixman)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_AddUnion_PixmanBulk)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SubtractUnion_Norvik)->Unit(benchmark::kMillisecond)->Iterations(1);
BENCHMARK(BM_SubtractUnion_Pixman)->Unit(benchmark::kMillisecond)->Iterations(1);

BENCHMARK_MAIN();
