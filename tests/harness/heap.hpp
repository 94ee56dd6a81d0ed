// Instrumented heap for C++ and OpenSSL: keeps released blocks for inspection, counts allocations, and makes a chosen
// one fail. To be included by one source file of a single-threaded program.
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <malloc.h>
#include <new>
#include <optional>
#include <utility>

#include <openssl/crypto.h>

#include "torvane/platform/core/bytes.hpp"

namespace Harness {

enum class Owner { library, openSSL };

inline std::size_t liveBlocks = 0;
inline std::size_t allocatedBytes = 0;
/// Counts down with each allocation; the allocation that makes it zero fails.
inline std::size_t untilFailure = 0;
inline bool hasFailed = false;

// Released blocks, which are kept while a Quarantine is open.
inline std::pair<void*, Owner> kept[1 << 20];
inline std::size_t keptCount = 0;
inline bool isKeeping = false;

inline void* allocate(std::size_t size) noexcept {
    if (untilFailure != 0 && --untilFailure == 0) {
        hasFailed = true;
        return nullptr;
    }
    void* block = std::malloc(size);
    if (block == nullptr) return nullptr;
    ++liveBlocks;
    allocatedBytes += size;
    // Overwrites what earlier owners left in the block.
    return std::memset(block, 0xAA, malloc_usable_size(block));
}

inline void release(void* block, Owner owner) noexcept {
    if (block == nullptr) return;
    --liveBlocks;
    if (!isKeeping) return std::free(block);
    if (keptCount == std::size(kept)) std::abort();
    kept[keptCount++] = {block, owner};
}

inline void* reallocate(void* block, std::size_t size) noexcept {
    void* moved = allocate(size);
    if (moved == nullptr || block == nullptr) return moved;
    std::memcpy(moved, block, std::min(size, malloc_usable_size(block)));
    release(block, Owner::openSSL);
    return moved;
}

inline const bool watchesOpenSSL =
    CRYPTO_set_mem_functions([](std::size_t size, const char*, int) { return allocate(size); },
                             [](void* block, std::size_t size, const char*, int) { return reallocate(block, size); },
                             [](void* block, const char*, int) { release(block, Owner::openSSL); }) == 1;

/// Keeps every block that is released before close(); the destructor frees them.
class Quarantine {
  public:
    Quarantine() noexcept { isKeeping = true; }
    ~Quarantine() {
        close();
        std::for_each_n(kept, keptCount, [](const auto& block) { std::free(block.first); });
        keptCount = 0;
    }
    Quarantine(const Quarantine&) = delete;
    Quarantine& operator=(const Quarantine&) = delete;

    void close() noexcept { isKeeping = false; }

    /// Whether a kept block of that owner contains the bytes, in this order or reversed, as in OpenSSL's big numbers.
    bool holds(Torvane::ByteView bytes, Owner owner) const {
        return std::any_of(kept, kept + keptCount, [&](const auto& block) {
            const auto* begin = static_cast<const std::uint8_t*>(block.first);
            const auto* end = begin + malloc_usable_size(block.first);
            return block.second == owner && (std::search(begin, end, bytes.begin(), bytes.end()) != end ||
                                             std::search(begin, end, bytes.rbegin(), bytes.rend()) != end);
        });
    }
};

}  // namespace Harness

void* operator new(std::size_t size) {
    if (void* block = Harness::allocate(size)) return block;
    throw std::bad_alloc();
}
void operator delete(void* block) noexcept {
    Harness::release(block, Harness::Owner::library);
}
void operator delete(void* block, std::size_t) noexcept {
    Harness::release(block, Harness::Owner::library);
}
