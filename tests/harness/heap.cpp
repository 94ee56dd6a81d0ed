#include "tests/harness/heap.hpp"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>

#include <openssl/crypto.h>

namespace {

constexpr std::size_t mostBlocks = 1 << 20;
struct Returned {
    void* block;
    bool isOfOpenSSL;
} quarantined[mostBlocks];
std::size_t quarantinedCount = 0;
bool isOpen = false;
std::size_t untilFailure = 0;  // 0: none is to come
bool failed = false;
std::size_t live = 0;

void* take(std::size_t size) noexcept {
    if (untilFailure != 0 && --untilFailure == 0) {
        failed = true;
        return nullptr;
    }
    void* block = std::malloc(size);
    if (block == nullptr) return nullptr;
    ++live;
    // What somebody else left in it does not count.
    return std::memset(block, 0xAA, malloc_usable_size(block));
}

void give(void* block, bool isOfOpenSSL) noexcept {
    if (block == nullptr) return;
    --live;
    if (isOpen && quarantinedCount < mostBlocks) {
        quarantined[quarantinedCount++] = {block, isOfOpenSSL};
    } else {
        std::free(block);
    }
}

void* takeForOpenSSL(std::size_t size, const char*, int) {
    return size == 0 ? nullptr : take(size);
}

void giveForOpenSSL(void* block, const char*, int) {
    give(block, true);
}

void* resizeForOpenSSL(void* block, std::size_t size, const char*, int) {
    if (size == 0) return giveForOpenSSL(block, nullptr, 0), nullptr;
    void* moved = take(size);
    if (moved == nullptr || block == nullptr) return moved;
    std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    giveForOpenSSL(block, nullptr, 0);
    return moved;
}

const bool watched =
    CRYPTO_set_mem_functions(takeForOpenSSL, resizeForOpenSSL, giveForOpenSSL) == 1 || (std::abort(), false);

}  // namespace

void* operator new(std::size_t size) {
    if (void* block = take(size)) return block;
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    give(block, false);
}
void operator delete(void* block, std::size_t) noexcept {
    give(block, false);
}

namespace Harness {

Quarantine::Quarantine() noexcept {
    isOpen = true;
}

Quarantine::~Quarantine() {
    close();
    std::for_each_n(quarantined, quarantinedCount, [](const Returned& returned) { std::free(returned.block); });
    quarantinedCount = 0;
}

void Quarantine::close() noexcept {
    isOpen = false;
}

bool Quarantine::holds(Platform::ByteView bytes, bool inOpenSSLToo) const {
    return std::any_of(quarantined, quarantined + quarantinedCount, [&](const Returned& returned) {
        if (returned.isOfOpenSSL && !inOpenSSLToo) return false;
        const auto* begin = static_cast<const std::uint8_t*>(returned.block);
        const auto* end = begin + malloc_usable_size(returned.block);
        return std::search(begin, end, bytes.begin(), bytes.end()) != end ||
               std::search(begin, end, bytes.rbegin(), bytes.rend()) != end;
    });
}

std::size_t Quarantine::blocks() const noexcept {
    return quarantinedCount;
}

void failAllocation(std::size_t n) noexcept {
    failed = false;
    untilFailure = n;
}

bool hasFailed() noexcept {
    untilFailure = 0;
    return failed;
}

std::size_t liveBlocks() noexcept {
    return live;
}

}  // namespace Harness
