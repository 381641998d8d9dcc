// Cost of holding shared objects: CPtr (intrusive count) against
// std::shared_ptr (separate control block), single-threaded and with several
// threads hammering one object's count.
#include <kernel/RefCount.h>

#include <benchmark/benchmark.h>

#include <memory>

namespace {

class Payload : public Kernel::CRefCount {
 public:
  int value = 1;
};

struct PlainPayload {
  int value = 1;
};

void CPtrCopyAssign(benchmark::State& state) {
  static Kernel::CPtr<Payload> source(new Payload);
  Kernel::CPtr<Payload> target;
  for (auto _ : state) {
    target = source;
    benchmark::DoNotOptimize(target);
    target = nullptr;
  }
}
BENCHMARK(CPtrCopyAssign)->ThreadRange(1, 2);

void SharedPtrCopyAssign(benchmark::State& state) {
  static std::shared_ptr<PlainPayload> source = std::make_shared<PlainPayload>();
  std::shared_ptr<PlainPayload> target;
  for (auto _ : state) {
    target = source;
    benchmark::DoNotOptimize(target);
    target = nullptr;
  }
}
BENCHMARK(SharedPtrCopyAssign)->ThreadRange(1, 2);

void CPtrMoveAssign(benchmark::State& state) {
  Kernel::CPtr<Payload> a(new Payload);
  Kernel::CPtr<Payload> b;
  for (auto _ : state) {
    b = std::move(a);
    a = std::move(b);
    benchmark::DoNotOptimize(a);
  }
}
BENCHMARK(CPtrMoveAssign);

void SharedPtrMoveAssign(benchmark::State& state) {
  std::shared_ptr<PlainPayload> a = std::make_shared<PlainPayload>();
  std::shared_ptr<PlainPayload> b;
  for (auto _ : state) {
    b = std::move(a);
    a = std::move(b);
    benchmark::DoNotOptimize(a);
  }
}
BENCHMARK(SharedPtrMoveAssign);

void CPtrCreateDestroy(benchmark::State& state) {
  for (auto _ : state) {
    Kernel::CPtr<Payload> p(new Payload);
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(CPtrCreateDestroy);

void SharedPtrCreateDestroy(benchmark::State& state) {
  for (auto _ : state) {
    std::shared_ptr<PlainPayload> p = std::make_shared<PlainPayload>();
    benchmark::DoNotOptimize(p);
  }
}
BENCHMARK(SharedPtrCreateDestroy);

}  // namespace

BENCHMARK_MAIN();
