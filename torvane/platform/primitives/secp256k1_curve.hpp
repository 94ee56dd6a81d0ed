// ECDSA over secp256k1 with raw keys (RFC 8812, section 3), through libsecp256k1.
//
// Public keys are accepted compressed (33 bytes) or uncompressed (65 bytes); the hybrid forms are rejected.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/error.hpp"

namespace Torvane::Crypto::Secp256k1 {

inline constexpr std::size_t scalarSize = 32;
inline constexpr std::size_t coordinateSize = 32;
inline constexpr std::size_t digestSize = 32;
inline constexpr std::size_t signatureSize = 64;

/// An uncompressed point: 0x04, x and y.
using Point = std::array<std::uint8_t, 65>;

/// Whether the library is built with libsecp256k1. If not, no bytes are a key, and nothing verifies.
bool isSupported() noexcept;

/// @throws KeyStoreError notSupported unless isSupported().
inline void requireSupport() {
    if (!isSupported()) throw KeyStoreError::notSupported("This build of the library has no secp256k1 keys.");
}

/// Whether the bytes are a private key: a scalar of 32 bytes from 1 to the order - 1.
bool isPrivateKey(ByteView scalar) noexcept;

/// The uncompressed form of a public key of 33 or 65 bytes; nothing when the bytes are not a point on the curve.
std::optional<Point> parsePublicPoint(ByteView encoded) noexcept;

/// The public key of a private key.
/// @throws SecurityError when the scalar is not a private key.
Point derivePublicPoint(ByteView scalar);

/// Signs a digest of 32 bytes. Returns r and s, 32 bytes each, with a deterministic nonce (RFC 6979) and low s.
/// @throws SecurityError for a scalar that is not a private key, or a digest of another size.
ByteBuffer sign(ByteView scalar, ByteView digest);

/// Verifies a signature of the form that sign() returns; a high s is accepted too. False for an r or s that is zero
/// or not below the order, and for a point, digest or signature of the wrong form or size.
bool verify(ByteView point, ByteView digest, ByteView signature) noexcept;

}  // namespace Torvane::Crypto::Secp256k1
