// ECDSA over secp256k1 with raw keys (RFC 8812, section 3), through libsecp256k1.
#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::Crypto::Secp256k1 {

inline constexpr std::size_t scalarSize = 32;
inline constexpr std::size_t digestSize = 32;
inline constexpr std::size_t signatureSize = 64;

/// 0x04, x and y.
using Point = std::array<std::uint8_t, 65>;

/// Whether these are the 32 bytes of a scalar from 1 to the order less 1.
bool isPrivateKey(ByteView scalar) noexcept;

/// The point in uncompressed form; nothing when it is not a 33- or 65-byte point of the curve.
std::optional<Point> publicPoint(ByteView encoded) noexcept;

/// The public half of a valid private key.
Point publicPointOf(ByteView scalar);

/// r and s, 32 bytes each, with the nonce of RFC 6979 and the lower s.
/// @throws SecurityError for a scalar out of range, or a digest of another size.
ByteBuffer sign(ByteView scalar, ByteView digest);

/// A signature with the higher s is as good; r or s zero or not below the order is not, nor is any other size.
bool verify(ByteView point, ByteView digest, ByteView signature) noexcept;

}  // namespace Torvane::Crypto::Secp256k1
