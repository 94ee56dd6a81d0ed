// Checks of the algorithms of a JWE, for writing and for reading it.
#pragma once

#include <cstddef>
#include <string>

#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/jose/header.hpp"

namespace Torvane::JOSE {

/// Bytes in a block of AES, of which a ciphertext of AES-CBC is made.
inline constexpr std::size_t aesBlockSize = 16;

/// Rejects a header that names other algorithms than an Encrypter or Decrypter; `owner` is "encrypter's" or
/// "decrypter's".
/// @throws JOSESwiftError unsupportedAlgorithm; "alg" is checked first.
template <class EncrypterOrDecrypter>
void requireAlgorithms(const JWEHeader& header, const EncrypterOrDecrypter& expected, const char* owner) {
    if (header.algorithm() != rawValue(expected.keyManagementAlgorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the " + std::string(owner) + ".");
    }
    if (header.encryptionAlgorithm() != rawValue(expected.contentEncryptionAlgorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"enc\" is not the " + std::string(owner) + ".");
    }
}

}  // namespace Torvane::JOSE
