// The bulk of base64url by the widest instructions that the processor has.
//
// Each function does as much of the front as it can and says how much; what is left, and what is wrong, is for the
// caller's own loop. On a processor without such instructions that is everything.
#pragma once

#include <cstddef>
#include <cstdint>

namespace Torvane::Base64Kernel {

/// Encodes groups of three bytes; returns how many bytes. Writes four characters for each three, and no more.
std::size_t encode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept;

/// Decodes groups of four characters up to one that is not of the alphabet, at the latest; returns how many characters.
/// `out` may be `in` or begin in front of it; where the characters that it leaves would be written, it may write too.
std::size_t decode(const std::uint8_t* in, std::size_t size, std::uint8_t* out) noexcept;

/// How many characters from the front are known to be of the alphabet.
std::size_t countValid(const std::uint8_t* in, std::size_t size) noexcept;

}  // namespace Torvane::Base64Kernel
