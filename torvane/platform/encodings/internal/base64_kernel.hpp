// Base64url with the vector instructions that the processor has.
//
// Each function handles as much of the input's beginning as it can, and returns how much that is. The rest, including
// everything invalid, is left to the caller. Without such instructions that is the whole input.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Torvane::Base64Kernel {

/// Encodes groups of three bytes to four characters each. Returns how many bytes it read; writes nothing beyond their
/// characters.
std::size_t encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept;

/// Decodes groups of four characters to three bytes each, and stops at the latest at a character outside the alphabet.
/// Returns how many characters it read. `out` may be `in` or begin before it. Bytes of `out` beyond the result, up to
/// the size that all of the input would decode to, may be overwritten.
std::size_t decode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept;

/// Returns the length of a prefix whose characters are all in the alphabet; not necessarily the longest such prefix.
std::size_t countValid(const std::uint8_t* in, std::size_t size) noexcept;

}  // namespace Torvane::Base64Kernel
