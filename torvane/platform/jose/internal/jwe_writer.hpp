// Writer of a compact JWE, whose plaintext arrives in chunks (RFC 7516, section 7.1).
//
//     JWEWriter writer(header, plaintext.size(), encrypter);
//     writer.write(plaintext);
//     ByteBuffer token = writer.finish();
#pragma once

#include <array>
#include <cstddef>
#include <memory>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/jose/encrypter.hpp"
#include "torvane/platform/jose/header.hpp"
#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/jose/internal/jwe_algorithms.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"

namespace Torvane::JOSE {

/// Allocates the exact size of the token, and nothing else that grows with the plaintext.
class JWEWriter {
  public:
    /// Generates the content encryption key and the initialization vector.
    /// @throws JOSESwiftError unsupportedAlgorithm when the header's "alg" or "enc" is not the encrypter's, and as
    ///         Encrypter::makeContentEncryptionKey() and makeHeaderText(); SecurityError.
    JWEWriter(JWEHeader header, std::size_t plaintextSize, const Encrypter& encrypter);
    JWEWriter(const JWEWriter&) = delete;
    JWEWriter& operator=(const JWEWriter&) = delete;

    /// Encrypts the next bytes of the plaintext, any number of them.
    void write(ByteView plaintext);

    /// The token, after the whole plaintext has been written; to be called once.
    ByteBuffer finish();

  private:
    void appendPart(ByteView part);

    ByteBuffer compact_;
    std::unique_ptr<Crypto::ContentEncrypter> contentEncrypter_;
    // The last bytes of the ciphertext, which do not make a group of three yet.
    std::array<std::uint8_t, 2> pending_{};
    std::size_t pendingSize_ = 0;
};

}  // namespace Torvane::JOSE
