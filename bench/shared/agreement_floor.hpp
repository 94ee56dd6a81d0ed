// Floor of ECDH-ES: the bare OpenSSL calls of a JWE on P-256 with A128CBC-HS256 (RFC 7518, section 4.6).
#pragma once

#include <array>
#include <string>

#include "bench/shared/floor.hpp"

namespace Bench {

/// Encryption generates a key, agrees, derives and encrypts; decryption does the last three.
class AgreementFloor {
  public:
    /// Takes the parts of a token that was encrypted to this key, and checks both operations on them.
    AgreementFloor(const std::string& pem, View token);

    void encrypt();
    /// Returns the size of the plaintext.
    std::size_t decrypt();

  private:
    void agree(EVP_PKEY_CTX* context, EVP_PKEY* otherKey);

    Pkey recipient_, sender_;
    PkeyContext generating_, agreeing_;
    HashFloor hash_;
    ContentFloor content_{"A128CBC-HS256"};
    Bytes header_, ciphertext_, plaintext_, decrypted_, derivation_;
    std::array<std::uint8_t, 65> point_{};
};

}  // namespace Bench
