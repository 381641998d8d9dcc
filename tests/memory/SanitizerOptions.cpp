// These tests ask for impossible amounts of memory on purpose and expect a
// null answer; under the sanitizers that needs allocator_may_return_null.
extern "C" {
__attribute__((used)) const char* __asan_default_options() { return "allocator_may_return_null=1"; }
__attribute__((used)) const char* __tsan_default_options() { return "allocator_may_return_null=1"; }
}
