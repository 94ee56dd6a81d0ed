#include "torvane/platform/jose/jwe.hpp"

#include <algorithm>
#include <array>

#include "torvane/platform/core/random.hpp"
#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"

namespace Torvane::JOSE {
namespace {

constexpr std::size_t aesBlockSize = 16;

std::size_t ciphertextSize(const ContentEncryptionParameters& content, std::size_t plaintextSize) noexcept {
    return content.macHash ? (plaintextSize / aesBlockSize + 1) * aesBlockSize : plaintextSize;
}

std::unique_ptr<Crypto::ContentEncryptor> contentEncryptor(const ContentEncryptionParameters& content, ByteView key,
                                                           ByteView iv, ByteView additionalData) {
    return content.macHash ? Crypto::makeCbcHmacEncryptor(*content.macHash, key, iv, additionalData)
                           : Crypto::makeGcmEncryptor(key, iv, additionalData);
}

// Encrypts pieces of any size, and appends the ciphertext as text.
class CiphertextWriter {
  public:
    CiphertextWriter(Crypto::ContentEncryptor& encryptor, ByteBuffer& compact) noexcept
        : encryptor_(encryptor), compact_(compact) {}

    void write(ByteView plaintext) {
        while (!plaintext.empty()) {
            const auto piece = plaintext.first(std::min(plaintext.size(), textAtATime));
            pending_ += encryptor_.update(piece, free());
            append(pending_ / 3 * 3);
            plaintext = plaintext.subspan(piece.size());
        }
    }

    void finish() {
        pending_ += encryptor_.finish(free());
        append(pending_);
    }

  private:
    std::span<std::uint8_t> free() noexcept { return std::span(ciphertext_).subspan(pending_); }

    void append(std::size_t size) {
        appendBase64url(compact_, ByteView(ciphertext_).first(size));
        if (size == 0) return;
        std::copy_n(ciphertext_.begin() + static_cast<std::ptrdiff_t>(size), pending_ - size, ciphertext_.begin());
        pending_ -= size;
    }

    Crypto::ContentEncryptor& encryptor_;
    ByteBuffer& compact_;
    // Begins with what is left of an unfinished group of three bytes.
    std::array<std::uint8_t, textAtATime + 3 * aesBlockSize> ciphertext_;
    std::size_t pending_ = 0;
};

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

class ViewedContent final : public Content {
  public:
    explicit ViewedContent(ByteView bytes) noexcept : bytes_(bytes) {}

    std::size_t size() const noexcept override { return bytes_.size(); }
    void writeTo(const PieceSink& sink) override { sink(bytes_); }

  private:
    ByteView bytes_;
};

ByteBuffer encrypted(JWEHeader header, Content& plaintext, const Encrypter& encrypter) {
    requireAlgorithms(header, encrypter, "encrypter's");
    const auto content = parameters(encrypter.contentEncryptionAlgorithm());
    const auto contentKey = encrypter.newContentKey(header);
    ByteBuffer iv(content.ivSize);
    secRandomCopyBytes(iv);

    const auto headerText = header.jsonData();
    ByteBuffer compact;
    compact.reserve(base64urlSize(headerText.size()) + base64urlSize(contentKey.encryptedKey.size()) +
                    base64urlSize(iv.size()) + base64urlSize(ciphertextSize(content, plaintext.size())) +
                    base64urlSize(content.tagSize) + JWE::componentCount - 1);
    appendBase64url(compact, headerText);
    const auto encryptor = contentEncryptor(content, contentKey.key, iv, compact);
    const auto append = [&compact](ByteView part) {
        compact.push_back('.');
        appendBase64url(compact, part);
    };
    append(contentKey.encryptedKey);
    append(iv);
    compact.push_back('.');
    CiphertextWriter writer(*encryptor, compact);
    plaintext.writeTo([&writer](ByteView piece) { writer.write(piece); });
    writer.finish();
    append(encryptor->tag());
    return compact;
}

}  // namespace

JWE::JWE(JWEHeader header, ByteView payload, const Encrypter& encrypter) {
    ViewedContent content(payload);
    compact_ = encrypted(std::move(header), content, encrypter);
}

JWE::JWE(JWEHeader header, Content& content, const Encrypter& encrypter)
    : compact_(encrypted(std::move(header), content, encrypter)) {}

ReceivedJWE::ReceivedJWE(ByteView compactSerialization)
    : ReceivedJWE(readCompact<JWE::componentCount>(compactSerialization,
                                                   [](const Pieces& pieces) { return ReceivedJWE(pieces); })) {}

ReceivedJWE::ReceivedJWE(const Pieces& pieces)
    : header_(decodePiece(pieces[0], "header")),
      additionalData_(pieces[0]),
      encryptedKey_(decodePiece(pieces[1], "encrypted key")),
      initializationVector_(decodePiece(pieces[2], "initialization vector")),
      ciphertext_(decodePiece(pieces[3], "ciphertext")),
      authenticationTag_(decodePiece(pieces[4], "authentication tag")) {}

bool ReceivedJWE::hasEmptyPart() const noexcept {
    return encryptedKey_.empty() || initializationVector_.empty() || ciphertext_.data().empty() ||
           authenticationTag_.empty();
}

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
    const auto aad = asBytes(additionalData_);
    const bool decrypted =
        content.macHash
            ? Crypto::decryptCbcHmac(*content.macHash, key, initializationVector_, aad, authenticationTag_, buffer)
            : Crypto::decryptGcm(key, initializationVector_, aad, authenticationTag_, buffer);
    if (!decrypted) throw JOSESwiftError::decryptingFailed();
    return std::move(ciphertext_);
}

}  // namespace Torvane::JOSE
