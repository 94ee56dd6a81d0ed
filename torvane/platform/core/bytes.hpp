// Bytes, and what becomes of them: owned buffers, views, and secrets that are wiped when they go.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "torvane/platform/core/export.hpp"

/// All that the library reaches outside itself: keys and key stores, bytes, JSON, base64url, random
/// identifiers.
namespace Torvane {

/// An owned sequence of bytes.
using ByteBuffer = std::vector<std::uint8_t>;

/// Somebody else's bytes, for the length of a call unless a docstring says more.
using ByteView = std::span<const std::uint8_t>;

/// The text's own bytes, not copied: valid as long as the text is.
inline ByteView asBytes(std::string_view text) noexcept {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The bytes as a text, not copied and not checked to be UTF-8.
inline std::string_view asText(ByteView bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Overwrites memory in a way that the optimiser keeps.
TORVANE_EXPORT void wipe(void* data, std::size_t size) noexcept;

/// Wipes each block before it goes back to the heap, the ones that a growing vector leaves behind included.
template <class T>
struct WipingAllocator {
    /// @{
    /// What standard containers ask of an allocator; all are equal.
    using value_type = T;

    WipingAllocator() noexcept = default;
    template <class U>
    WipingAllocator(const WipingAllocator<U>&) noexcept {}

    T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* block, std::size_t count) noexcept {
        wipe(block, count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    friend bool operator==(const WipingAllocator&, const WipingAllocator&) noexcept { return true; }
    /// @}
};

/// Key material and other bytes that must not outlive their use.
using SecretBuffer = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

/// Wipes a buffer or string that cannot be a SecretBuffer, on every way out of a scope.
template <class Container>
class WipeOnExit {
  public:
    /// Keeps a reference; the container may grow meanwhile, but what it leaves behind then is not wiped.
    explicit WipeOnExit(Container& secret) noexcept : secret_(secret) {}
    ~WipeOnExit() { wipe(secret_.data(), secret_.size()); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

  private:
    Container& secret_;
};

}  // namespace Torvane
