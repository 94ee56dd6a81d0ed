// What RSA and EC keys do: sign and verify digests, encrypt and decrypt with OAEP, agree on a secret.
#pragma once

#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"
#include "torvane/platform/primitives/prepared_key.hpp"

namespace Torvane::Crypto {

/// Signs a digest of digestSize(hash) bytes. An ECDSA signature is r and s side by side, each as long as a
/// coordinate (RFC 7518, section 3.4).
ByteBuffer sign(const PreparedKey& key, SignatureScheme scheme, HashFunction hash, ByteView digest);

/// False for a signature of another length too, and for an r or s that is zero or not below the order.
bool verify(const PreparedKey& key, SignatureScheme scheme, HashFunction hash, ByteView digest, ByteView signature);

/// RSAES-OAEP with MGF1 over the same hash and an empty label (RFC 8017, section 7.1).
ByteBuffer encryptOaep(const PreparedKey& key, HashFunction hash, ByteView plaintext);

/// Nothing when the ciphertext is not one for this key.
std::optional<SecretBuffer> decryptOaep(const PreparedKey& key, HashFunction hash, ByteView ciphertext);

/// What RSAES-OAEP leaves when the RSA operation has been undone (RFC 8017, section 7.1.2, step 3): as long as the
/// modulus. Nothing when it is not so padded; takes the same time either way.
std::optional<SecretBuffer> decodeOaep(HashFunction hash, ByteView encoded);

/// The ECDH shared secret: the x coordinate, as long as the curve's coordinates.
SecretBuffer agree(const PreparedKey& key, EVP_PKEY* peer);

}  // namespace Torvane::Crypto
