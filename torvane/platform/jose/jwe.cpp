#include "torvane/platform/jose/jwe.hpp"

#include <algorithm>
#include <array>

#include "torvane/platform/crypto/content_cipher.hpp"
#include "torvane/platform/jose/compact.hpp"
#include "torvane/platform/security/sec_random.hpp"

namespace JOSE {
namespace {

using Platform::ByteBuffer;
using Platform::ByteView;

constexpr std::size_t aesBlockSize = 16;

// How much is encrypted, authenticated and written as text at a time: small enough to stay in the cache,
// whole AES blocks, and whole groups of base64url so that the text of consecutive pieces joins up.
constexpr std::size_t pieceSize = 12288;
static_assert(pieceSize % aesBlockSize == 0 && pieceSize % 3 == 0);

std::size_t ciphertextSize(const ContentEncryptionParameters& content, std::size_t plaintextSize) noexcept {
    return content.macHash ? (plaintextSize / aesBlockSize + 1) * aesBlockSize : plaintextSize;
}

std::unique_ptr<Platform::Crypto::ContentEncryptor> contentEncryptor(const ContentEncryptionParameters& content,
                                                                     ByteView key, ByteView iv,
                                                                     ByteView additionalData) {
    return content.macHash ? Platform::Crypto::cbcHmacEncryptor(*content.macHash, key, iv, additionalData)
                           : Platform::Crypto::gcmEncryptor(key, iv, additionalData);
}

void appendCiphertext(ByteBuffer& compact, Platform::Crypto::ContentEncryptor& encryptor, ByteView plaintext) {
    std::array<std::uint8_t, pieceSize + 2 * aesBlockSize> scratch;
    for (; plaintext.size() > pieceSize; plaintext = plaintext.subspan(pieceSize)) {
        const auto written = encryptor.update(plaintext.first(pieceSize), scratch);
        Platform::appendBase64url(compact, ByteView(scratch).first(written));
    }
    auto written = encryptor.update(plaintext, scratch);
    written += encryptor.finish(std::span(scratch).subspan(written));
    Platform::appendBase64url(compact, ByteView(scratch).first(written));
}

// The header must name what the encrypter or decrypter was made for.
template <class Coder>
void requireAlgorithms(const JWEHeader& header, const Coder& coder, const std::string& whose) {
    if (header.algorithm() != rawValue(coder.keyManagementAlgorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"alg\" is not the " + whose + ".");
    }
    if (header.encryptionAlgorithm() != rawValue(coder.contentEncryptionAlgorithm())) {
        throw JOSESwiftError::unsupportedAlgorithm("The header's \"enc\" is not the " + whose + ".");
    }
}

void requireSize(ByteView part, std::size_t size, const char* name) {
    if (part.size() != size) {
        throw JOSESwiftError::parsingFailed("The " + std::string(name) + " is not " + std::to_string(size) +
                                            " bytes long.");
    }
}

}  // namespace

JWE::JWE(JWEHeader header, ByteView payload, const Encrypter& encrypter) {
    requireAlgorithms(header, encrypter, "encrypter's");
    const auto content = parameters(encrypter.contentEncryptionAlgorithm());
    const auto contentKey = encrypter.newContentKey(header);
    ByteBuffer iv(content.ivSize);
    Platform::secRandomCopyBytes(iv);

    const auto headerText = header.jsonData();
    compact_.reserve(Platform::base64urlSize(headerText.size()) +
                     Platform::base64urlSize(contentKey.encryptedKey.size()) + Platform::base64urlSize(iv.size()) +
                     Platform::base64urlSize(ciphertextSize(content, payload.size())) +
                     Platform::base64urlSize(content.tagSize) + componentCount - 1);
    Platform::appendBase64url(compact_, headerText);
    const auto encryptor = contentEncryptor(content, contentKey.key, iv, compact_);
    const auto append = [this](ByteView part) {
        compact_.push_back('.');
        Platform::appendBase64url(compact_, part);
    };
    append(contentKey.encryptedKey);
    append(iv);
    compact_.push_back('.');
    appendCiphertext(compact_, *encryptor, payload);
    append(encryptor->tag());
}

ReceivedJWE::ReceivedJWE(ByteView compactSerialization)
    : ReceivedJWE(splitCompact<JWE::componentCount>(Platform::asText(compactSerialization))) {}

ReceivedJWE::ReceivedJWE(const Pieces& pieces)
    : header_(decodePiece(pieces[0], "header")),
      additionalData_(pieces[0]),
      encryptedKey_(decodePiece(pieces[1], "encrypted key")),
      initializationVector_(decodePiece(pieces[2], "initialization vector")),
      ciphertext_(decodePiece(pieces[3], "ciphertext")),
      authenticationTag_(decodePiece(pieces[4], "authentication tag")) {}

Payload ReceivedJWE::decrypt(const Decrypter& decrypter) && {
    requireAlgorithms(header_, decrypter, "decrypter's");
    const auto content = parameters(decrypter.contentEncryptionAlgorithm());
    requireSize(initializationVector_, content.ivSize, "initialization vector");
    requireSize(authenticationTag_, content.tagSize, "authentication tag");

    auto& buffer = ciphertext_.data();
    if (content.macHash && (buffer.empty() || buffer.size() % aesBlockSize != 0)) {
        throw JOSESwiftError::parsingFailed("The ciphertext is not made of whole blocks.");
    }
    const auto key = decrypter.contentKey(header_, encryptedKey_);
    const auto aad = Platform::asBytes(additionalData_);
    const bool decrypted =
        content.macHash ? Platform::Crypto::cbcHmacDecrypt(*content.macHash, key, initializationVector_, aad,
                                                           authenticationTag_, buffer)
                        : Platform::Crypto::gcmDecrypt(key, initializationVector_, aad, authenticationTag_, buffer);
    if (!decrypted) throw JOSESwiftError::decryptingFailed();
    return std::move(ciphertext_);
}

}  // namespace JOSE
