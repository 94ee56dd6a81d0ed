// Signer and Verifier: one algorithm with a key that fits it.
#pragma once

#include <cstddef>
#include <memory>
#include <optional>
#include <utility>
#include <variant>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"

namespace Torvane::JOSE {

/// One algorithm and a private key that fits it: a value, cheap to copy and safe to use from several threads at once.
class TORVANE_EXPORT Signer {
  public:
    /// A signer with a platform key; nothing unless the key is a private one that fits the algorithm.
    [[nodiscard]] static std::optional<Signer> create(SignatureAlgorithm algorithm, const SecKey& privateKey);
    /// A signer for ES256K with the 32 bytes of a secp256k1 scalar, which are copied, and wiped with the last copy of
    /// the signer. Nothing for another algorithm, or for a scalar out of range.
    [[nodiscard]] static std::optional<Signer> create(SignatureAlgorithm algorithm, ByteView privateKey);

    /// @{
    /// A move is a copy, so a moved-from signer still works.
    Signer(const Signer&) = default;
    Signer& operator=(const Signer&) = default;
    /// @}

    /// The "alg" of the header.
    [[nodiscard]] SignatureAlgorithm algorithm() const noexcept { return algorithm_; }
    /// Bytes in each signature.
    [[nodiscard]] std::size_t signatureSize() const noexcept;
    /// @{
    /// A signature over the whole signing input, or over its digest by the algorithm's hash function: signatureSize()
    /// bytes, in the form of RFC 7518, section 3.
    /// @throws SecurityError, or whatever an application's key store throws, when the key store fails.
    [[nodiscard]] ByteBuffer sign(ByteView signingInput) const;
    [[nodiscard]] ByteBuffer signDigest(ByteView digest) const;
    /// @}

  private:
    using Key = std::variant<SecKey, std::shared_ptr<const SecretBuffer>>;
    Signer(SignatureAlgorithm algorithm, Key key) noexcept : algorithm_(algorithm), key_(std::move(key)) {}

    SignatureAlgorithm algorithm_;
    Key key_;
};

/// One algorithm and a public key that fits it: a value, cheap to copy and safe to use from several threads at once.
class TORVANE_EXPORT Verifier {
  public:
    /// A verifier with a platform key; nothing unless the key is a public one that fits the algorithm.
    [[nodiscard]] static std::optional<Verifier> create(SignatureAlgorithm algorithm, const SecKey& publicKey);
    /// A verifier for ES256K with a secp256k1 point of 33 or 65 bytes. Nothing for another algorithm, or for a point
    /// off the curve.
    [[nodiscard]] static std::optional<Verifier> create(SignatureAlgorithm algorithm, ByteView publicKey);

    /// @{
    /// A move is a copy, so a moved-from verifier still works.
    Verifier(const Verifier&) = default;
    Verifier& operator=(const Verifier&) = default;
    /// @}

    /// The "alg" that the header has to name.
    [[nodiscard]] SignatureAlgorithm algorithm() const noexcept { return algorithm_; }
    /// True when the signature is valid for the digest of the signing input by the algorithm's hash function.
    [[nodiscard]] bool verifyDigest(ByteView digest, ByteView signature) const;

  private:
    using Key = std::variant<SecKey, std::shared_ptr<const ByteBuffer>>;
    Verifier(SignatureAlgorithm algorithm, Key key) noexcept : algorithm_(algorithm), key_(std::move(key)) {}

    SignatureAlgorithm algorithm_;
    Key key_;
};

}  // namespace Torvane::JOSE
