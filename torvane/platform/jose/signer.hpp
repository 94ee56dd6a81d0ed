// Signer and Verifier: an algorithm and a key that fits it.
#pragma once

#include <optional>
#include <utility>
#include <variant>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// One algorithm and a private key that fits it: a value, safe to use from several threads at once.
class TORVANE_EXPORT Signer {
  public:
    /// Nothing unless the key is a private one that fits the algorithm.
    static std::optional<Signer> create(SignatureAlgorithm algorithm, const SecKey& privateKey);
    /// ES256K with the 32 bytes of a secp256k1 scalar; nothing for other algorithms, or a scalar out of range.
    static std::optional<Signer> create(SignatureAlgorithm algorithm, ByteView privateKey);

    /// The "alg" that goes into the header.
    SignatureAlgorithm algorithm() const noexcept { return algorithm_; }
    /// Bytes in every signature.
    std::size_t signatureSize() const noexcept;
    /// @{
    /// A signature over the whole input, or over its digest by the algorithm's hash function.
    /// @throws SecurityError when the key store fails.
    ByteBuffer sign(ByteView signingInput) const;
    ByteBuffer signDigest(ByteView digest) const;
    /// @}

  private:
    using Key = std::variant<SecKey, SecretBuffer>;
    Signer(SignatureAlgorithm algorithm, Key key) noexcept : algorithm_(algorithm), key_(std::move(key)) {}

    SignatureAlgorithm algorithm_;
    Key key_;
};

/// One algorithm and a public key that fits it: a value, safe to use from several threads at once.
class TORVANE_EXPORT Verifier {
  public:
    /// Nothing unless the key is a public one that fits the algorithm.
    static std::optional<Verifier> create(SignatureAlgorithm algorithm, const SecKey& publicKey);
    /// ES256K with a secp256k1 point of 33 or 65 bytes; nothing for other algorithms, or a point off the curve.
    static std::optional<Verifier> create(SignatureAlgorithm algorithm, ByteView publicKey);

    /// The "alg" that has to be in the header.
    SignatureAlgorithm algorithm() const noexcept { return algorithm_; }
    /// Whether the signature is one over the input with this digest, by the algorithm's hash function.
    bool verifyDigest(ByteView digest, ByteView signature) const;

  private:
    using Key = std::variant<SecKey, ByteBuffer>;
    Verifier(SignatureAlgorithm algorithm, Key key) noexcept : algorithm_(algorithm), key_(std::move(key)) {}

    SignatureAlgorithm algorithm_;
    Key key_;
};

}  // namespace Torvane::JOSE
