// Byte buffers, views, and buffers for secrets, which are wiped when they are released.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>
#include <vector>

#include "torvane/platform/core/export.hpp"

/// The library: messages, tokens, keys and key stores, and the bytes, errors and JSON values they are made of.
namespace Torvane {

/// An owned sequence of bytes.
using ByteBuffer = std::vector<std::uint8_t>;

/// Non-owning view of bytes. As an argument it has to be valid until the call returns, unless a docstring says more.
using ByteView = std::span<const std::uint8_t>;

/// The text's own bytes, not copied; valid as long as the text.
[[nodiscard]] inline ByteView asBytes(std::string_view text) noexcept {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// The same bytes as text, not copied, and not checked to be UTF-8; valid as long as the bytes.
[[nodiscard]] inline std::string_view asText(ByteView bytes) noexcept {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

/// Strings, string views and string literals. A function that takes bytes or text takes text as a template parameter,
/// so that a call with `{}` is not ambiguous: it passes an empty ByteView.
template <class T>
concept TextLike = std::convertible_to<const T&, std::string_view>;

/// Overwrites memory with zero bytes; the compiler does not optimise this away.
TORVANE_EXPORT void wipe(void* data, std::size_t size) noexcept;

/// Allocator that wipes each block before returning it to the heap, including those that a vector outgrows.
template <class T>
struct WipingAllocator {
    /// @{
    /// The members that standard containers require. All allocators of this kind are equal.
    using value_type = T;

    WipingAllocator() noexcept = default;
    template <class U>
    WipingAllocator(const WipingAllocator<U>&) noexcept {}

    [[nodiscard]] T* allocate(std::size_t count) { return std::allocator<T>().allocate(count); }
    void deallocate(T* block, std::size_t count) noexcept {
        wipe(block, count * sizeof(T));
        std::allocator<T>().deallocate(block, count);
    }

    friend bool operator==(const WipingAllocator&, const WipingAllocator&) noexcept { return true; }
    /// @}
};

/// Owned bytes of a key or another secret, wiped when they are released.
using SecretBuffer = std::vector<std::uint8_t, WipingAllocator<std::uint8_t>>;

/// Guard that wipes a buffer or string at the end of a scope, for secrets that cannot be in a SecretBuffer.
template <class Container>
class WipeOnExit {
  public:
    /// Keeps a reference to the container. Memory that the container releases when it grows is not wiped.
    explicit WipeOnExit(Container& secret) noexcept : secret_(secret) {}
    ~WipeOnExit() { wipe(secret_.data(), secret_.size()); }
    WipeOnExit(const WipeOnExit&) = delete;
    WipeOnExit& operator=(const WipeOnExit&) = delete;

  private:
    Container& secret_;
};

}  // namespace Torvane
