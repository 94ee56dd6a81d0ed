// What private keys in a PKCS #11 token do: sign digests, decrypt OAEP, agree on a secret.
#pragma once

#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/objects.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

namespace Torvane::Crypto {

/// A session with a token in use, and a private key in it.
struct Pkcs11Use {
    Pkcs11Token& token;
    Pkcs11Session& session;
    Pkcs11PrivateKey key;
};

// All throw Pkcs11Failure, and KeyStoreError notSupported for what the token does not do.

/// A signature of so many bytes over a digest; an ECDSA signature is r and s side by side.
ByteBuffer sign(const Pkcs11Use& use, SignatureScheme scheme, HashFunction hash, ByteView digest, std::size_t size);

/// RSAES-OAEP with MGF1 over the same hash and an empty label. Where the token does not do that with this hash, it
/// undoes RSA alone and the padding is removed here, in constant time. The ciphertext is as long as the modulus and
/// below it. Nothing when it is not one for this key.
std::optional<SecretBuffer> decrypt(const Pkcs11Use& use, HashFunction hash, ByteView ciphertext);

/// The x coordinate of the point that an ECDH agreement ends at.
SecretBuffer agree(const Pkcs11Use& use, const ECPublicComponents& peer);

}  // namespace Torvane::Crypto
