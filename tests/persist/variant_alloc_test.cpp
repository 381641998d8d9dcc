// Numbers and texts of up to eleven UTF-8 bytes must never touch the heap.
// This program counts every malloc by interposing the allocator (forwarding
// to glibc's own), which sanitizer runtimes do not allow; under a sanitizer
// the check is skipped.
#include <kernel/Variant.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cstdlib>

#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
#define NK_COUNTING_ALLOCATOR 0
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer) || __has_feature(memory_sanitizer)
#define NK_COUNTING_ALLOCATOR 0
#endif
#endif
#ifndef NK_COUNTING_ALLOCATOR
#define NK_COUNTING_ALLOCATOR 1
#endif

namespace {
std::atomic<long> g_allocations{0};
}

#if NK_COUNTING_ALLOCATOR
extern "C" {
void* __libc_malloc(size_t);
void* __libc_calloc(size_t, size_t);
void* __libc_realloc(void*, size_t);

void* malloc(size_t n) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_malloc(n);
}
void* calloc(size_t n, size_t size) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_calloc(n, size);
}
void* realloc(void* p, size_t n) {
  g_allocations.fetch_add(1, std::memory_order_relaxed);
  return __libc_realloc(p, n);
}
}
#endif

namespace {

// The number of allocations the body makes.
template <class F>
long CountAllocations(F&& body) {
  const long before = g_allocations.load();
  body();
  return g_allocations.load() - before;
}

TEST(VariantAllocation, NumbersAndShortTextsStayInline) {
  if (!NK_COUNTING_ALLOCATOR) GTEST_SKIP() << "the allocator cannot be interposed under a sanitizer";
  volatile int64_t sink = 0;
  volatile double dsink = 0;
  const long count = CountAllocations([&] {
    CVariant a(42);
    CVariant b(uint64_t{1} << 40);
    CVariant c(3.25);
    CVariant d(L"hello");
    CVariant e("abcdefghijk");
    CVariant f(L"\u00e9\u00e9\u00e9\u00e9\u00e9");  // ten UTF-8 bytes
    CVariant g(POINT{3, -4});
    CVariant h(VariantError::BadOperand);
    CVariant copy(d);
    CVariant moved(std::move(copy));
    a = c;
    b = std::move(e);
    sink = static_cast<int64_t>(a) + static_cast<int>(b) + static_cast<int64_t>(CVariant(L"12345"));
    dsink = static_cast<double>(CVariant("2.5")) + static_cast<double>(CVariant(L"-1e10")) + static_cast<double>(f);
    const POINT p = g;
    sink = sink + p.x + h.GetError() + static_cast<int64_t>(moved);
  });
  EXPECT_EQ(count, 0);
  EXPECT_EQ(dsink, 2.5 - 1e10);
}

// A heap text costs an allocation (proof that the counter works at all), but
// reading a number out of one must not.
TEST(VariantAllocation, HeapTextsAllocateReadingNumbersFromThemDoesNot) {
  if (!NK_COUNTING_ALLOCATOR) GTEST_SKIP() << "the allocator cannot be interposed under a sanitizer";
  CVariant longNumber;
  EXPECT_GE(CountAllocations([&] { longNumber = CVariant(L"3.14159265358979"); }), 1);  // sixteen bytes
  ASSERT_FALSE(longNumber.IsInlineString());
  double value = 0;
  EXPECT_EQ(CountAllocations([&] { value = static_cast<double>(longNumber); }), 0);
  EXPECT_EQ(value, 3.14159265358979);
}

}  // namespace
