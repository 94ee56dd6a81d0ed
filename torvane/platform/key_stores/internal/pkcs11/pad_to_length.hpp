// Restores, in constant time, the leading zero bytes that some PKCS #11 tokens drop.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

namespace Torvane::PKCS11 {

/// The first `written` bytes of the buffer as the last ones of `length` bytes. Neither a branch nor an address depends
/// on `written`.
template <class Buffer>
Buffer padToLength(const Buffer& value, std::size_t written, std::size_t length) {
    Buffer moved(length);
    std::copy_n(value.begin(), std::min(value.size(), length), moved.begin());
    const auto missing = length - std::min(written, length);
    for (unsigned bit = 0; length >> bit != 0; ++bit) {
        const std::size_t step = std::size_t{1} << bit;
        // Volatile, so that the optimiser does not know that it is all zeros or all ones, and makes no branch of it.
        const volatile auto mask = static_cast<std::uint8_t>(0 - (missing >> bit & 1));
        const std::uint8_t moves = mask;
        for (std::size_t i = length; i-- > 0;) {
            const std::uint8_t from = i < step ? 0 : moved[i - step];
            moved[i] = static_cast<std::uint8_t>((moved[i] & ~moves) | (from & moves));
        }
    }
    return moved;
}

}  // namespace Torvane::PKCS11
