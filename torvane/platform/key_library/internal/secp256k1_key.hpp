// secp256k1 keys made from the values of JWKs (RFC 8812, section 3.1), and whether this build has such keys.
#pragma once

#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/key_library/key.hpp"

namespace Torvane::Zennet {

/// Whether this build of the library has secp256k1 keys, and so ES256K.
bool isSecp256k1Supported() noexcept;

/// The public key with these coordinates; nothing unless both have 32 bytes and are a point of the curve.
std::optional<PublicKey> makeSecp256k1PublicKey(ByteView x, ByteView y);

/// The private key with this scalar; nothing unless it is 32 bytes and belongs to the public key.
std::optional<PrivateKey> makeSecp256k1PrivateKey(ByteView scalar, const PublicKey& publicKey);

}  // namespace Torvane::Zennet
