#include "bench/shared/heap_counter.hpp"

#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>
#include <stdexcept>
#include <string>

#include <openssl/crypto.h>

extern "C" {
// glibc exports these for replacements of malloc().
// NOLINTBEGIN(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* block, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);
void __libc_free(void* block);
// NOLINTEND(bugprone-reserved-identifier,cert-dcl37-c,cert-dcl51-cpp)
}

namespace {

std::atomic<std::size_t> live, peak, allocationCount;

void* countAllocation(void* block) noexcept {
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    const auto size = malloc_usable_size(block);
    const auto now = live.fetch_add(size, std::memory_order_relaxed) + size;
    auto highest = peak.load(std::memory_order_relaxed);
    while (now > highest && !peak.compare_exchange_weak(highest, now, std::memory_order_relaxed)) {
    }
    return block;
}

}  // namespace

#define BENCH_HEAP extern "C" __attribute__((visibility("default")))

BENCH_HEAP void* malloc(std::size_t size) {
    return countAllocation(__libc_malloc(size));
}
BENCH_HEAP void* calloc(std::size_t count, std::size_t size) {
    return countAllocation(__libc_calloc(count, size));
}
BENCH_HEAP void* memalign(std::size_t alignment, std::size_t size) {
    return countAllocation(__libc_memalign(alignment, size));
}
BENCH_HEAP void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return memalign(alignment, size);
}
BENCH_HEAP int posix_memalign(void** block, std::size_t alignment, std::size_t size) {
    *block = memalign(alignment, size);
    return *block == nullptr ? ENOMEM : 0;
}
BENCH_HEAP void free(void* block) {
    live.fetch_sub(malloc_usable_size(block), std::memory_order_relaxed);
    __libc_free(block);
}
BENCH_HEAP void* realloc(void* block, std::size_t size) {
    const auto before = malloc_usable_size(block);
    void* const moved = __libc_realloc(block, size);
    if (moved != nullptr || size == 0) live.fetch_sub(before, std::memory_order_relaxed);
    return countAllocation(moved);
}

namespace Bench {

HeapWatch::HeapWatch() : liveBefore_(live), allocationsBefore_(allocationCount) {
    peak = liveBefore_;
}

std::size_t HeapWatch::peakBytes() const {
    return peak - liveBefore_;
}

std::size_t HeapWatch::allocations() const {
    return allocationCount - allocationsBefore_;
}

void checkHeapWatch() {
    constexpr std::size_t size = 100'000;
    const std::string text(size, 'a');
    const auto requireCounted = [](const std::string& whose, const auto& allocate, const auto& release) {
        const auto before = live.load();
        const HeapWatch watch;
        auto* const block = allocate();
        const auto during = live.load();
        release(block);
        if (watch.allocations() != 1 || watch.peakBytes() < size || during != peak || live != before) {
            throw std::logic_error("allocations of " + whose + " are not counted");
        }
    };
    requireCounted(
        "C++", [] { return ::operator new(size); }, [](void* block) { ::operator delete(block); });
    requireCounted(
        "the C library", [&] { return strdup(text.c_str()); }, [](char* block) { std::free(block); });
    requireCounted(
        "OpenSSL", [] { return OPENSSL_malloc(size); }, [](void* block) { OPENSSL_free(block); });
}

}  // namespace Bench
