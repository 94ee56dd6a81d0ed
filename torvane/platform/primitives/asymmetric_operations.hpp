// Operations of RSA and EC keys: signing and verifying digests, RSA-OAEP, and ECDH.
#pragma once

#include <optional>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"
#include "torvane/platform/primitives/prepared_key.hpp"

namespace Torvane::Crypto {

/// Signs a digest of digestSize(hash) bytes. An RSA signature is as long as the modulus. An ECDSA signature is r and s
/// side by side, each as long as a coordinate (RFC 7518, section 3.4).
/// @throws SecurityError when OpenSSL fails; no signature is returned then.
ByteBuffer sign(const PreparedKey& key, SignatureScheme scheme, HashFunction hash, ByteView digest);

/// Verifies a signature of the form that sign() returns. False for a wrong signature, one of another length, an r or s
/// that is zero or not below the order, and a scheme of the other key family.
/// @throws SecurityError when the operation cannot be set up.
bool verify(const PreparedKey& key, SignatureScheme scheme, HashFunction hash, ByteView digest, ByteView signature);

/// RSAES-OAEP with MGF1 over the same hash and an empty label (RFC 8017, section 7.1.1). The ciphertext is as long as
/// the modulus.
/// @throws SecurityError for a plaintext longer than the modulus size - 2 * digestSize(hash) - 2, or an EC key.
ByteBuffer encryptOaep(const PreparedKey& key, HashFunction hash, ByteView plaintext);

/// Reverses encryptOaep(). Returns nothing when the ciphertext, of whatever length, does not decrypt under this key.
/// @throws SecurityError when the operation cannot be set up, or memory runs out.
std::optional<SecretBuffer> decryptOaep(const PreparedKey& key, HashFunction hash, ByteView ciphertext);

/// Removes the OAEP padding from the result of a bare RSA decryption, which is as long as the modulus (RFC 8017,
/// section 7.1.2, step 3). Returns nothing when the padding is wrong; OpenSSL checks it in
/// constant time.
/// @throws SecurityError when memory runs out.
std::optional<SecretBuffer> removeOaepPadding(HashFunction hash, ByteView encoded);

/// The ECDH shared secret of two keys on the same curve: the x coordinate, as long as the curve's coordinates.
/// @throws SecurityError for a peer's key on another curve.
SecretBuffer agree(const PreparedKey& key, EVP_PKEY* peer);

}  // namespace Torvane::Crypto
