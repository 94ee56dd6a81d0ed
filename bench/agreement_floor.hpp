// The bare OpenSSL calls of a JWE by ECDH-ES on P-256 with A128CBC-HS256 (RFC 7518, section 4.6).
#pragma once

#include <array>
#include <string>

#include "bench/floor.hpp"

namespace Bench {

/// Key generation, agreement, key derivation and content encryption; and the last three again.
class AgreementFloor {
  public:
    /// Takes a token apart that was encrypted to this key, and tries both operations on it.
    AgreementFloor(const std::string& pem, View token);

    void encrypt();
    /// The size of the plaintext.
    std::size_t decrypt();

  private:
    void agree(EVP_PKEY_CTX* context, EVP_PKEY* peer);

    Pkey recipient_, sender_;
    PkeyContext generating_, agreeing_;
    HashFloor hash_;
    ContentFloor content_{"A128CBC-HS256"};
    Bytes header_, ciphertext_, plaintext_, decrypted_, derivation_;
    std::array<std::uint8_t, 65> point_{};
};

}  // namespace Bench
