// Operations of private keys in a PKCS #11 token: signing digests, RSA-OAEP decryption, and ECDH.
//
// All functions throw CallFailure, and KeyStoreError notSupported for what the token does not support.
#pragma once

#include <cstddef>
#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/objects.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

namespace Torvane::PKCS11 {

/// A private key, with a session in which it can be used.
struct KeyInSession {
    Token& token;
    Session& session;
    PrivateKey object;
};

/// Signs a digest. Signatures of the key have `length` bytes; shorter RSA signatures are padded. An ECDSA signature is
/// r and s side by side.
ByteBuffer sign(const KeyInSession& key, SignatureScheme scheme, HashFunction hash, ByteView digest,
                std::size_t length);

/// RSAES-OAEP with MGF1 over the same hash and an empty label. When the token does not support that, it does raw RSA,
/// and the padding is removed here in constant time. The ciphertext must be as long as the modulus and numerically
/// smaller. Returns nothing when it does not decrypt under this key.
std::optional<SecretBuffer> decrypt(const KeyInSession& key, HashFunction hash, ByteView ciphertext);

/// The ECDH shared secret with a peer on the same curve: the x coordinate, coordinateSize(curve) bytes.
SecretBuffer agree(const KeyInSession& key, const ECPublicComponents& peer);

}  // namespace Torvane::PKCS11
