#include "bench/allocations.h"

#include <atomic>
#include <cstddef>
#include <cstdlib>

namespace {

std::atomic<std::uint64_t> all_threads{0};
thread_local std::uint64_t this_thread = 0;

void count() {
    all_threads.fetch_add(1, std::memory_order_relaxed);
    ++this_thread;
}

} // namespace

extern "C" {

// The C library's own allocator, under the names that it keeps for programs that put theirs before it.
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);

void* malloc(std::size_t size) noexcept {
    count();
    return __libc_malloc(size);
}

void* calloc(std::size_t n, std::size_t size) noexcept {
    count();
    return __libc_calloc(n, size);
}

void* realloc(void* block, std::size_t size) noexcept {
    count();
    return __libc_realloc(block, size);
}

} // extern "C"

namespace bench {

Allocations allocations() { return {this_thread, all_threads.load(std::memory_order_relaxed) - this_thread}; }

} // namespace bench
