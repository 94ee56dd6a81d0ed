#include "torvane/platform/jose/internal/jwe_writer.hpp"

#include <algorithm>
#include <span>
#include <utility>

#include "torvane/platform/core/internal/add_sizes.hpp"
#include "torvane/platform/core/random.hpp"
#include "torvane/platform/jose/internal/header_text.hpp"
#include "torvane/platform/jose/jwe.hpp"

namespace Torvane::JOSE {
namespace {

std::size_t ciphertextSize(const ContentEncryptionParameters& content, std::size_t plaintextSize) {
    return content.macHash ? addSizes({plaintextSize / aesBlockSize * aesBlockSize, aesBlockSize}) : plaintextSize;
}

std::unique_ptr<Crypto::ContentEncrypter> makeContentEncrypter(const ContentEncryptionParameters& content, ByteView key,
                                                               ByteView iv, ByteView additionalData) {
    return content.macHash ? Crypto::makeCbcHmacEncrypter(*content.macHash, key, iv, additionalData)
                           : Crypto::makeGcmEncrypter(key, iv, additionalData);
}

}  // namespace

JWEWriter::JWEWriter(JWEHeader header, std::size_t plaintextSize, const Encrypter& encrypter) {
    requireAlgorithms(header, encrypter, "encrypter's");
    const auto content = parameters(encrypter.contentEncryptionAlgorithm());
    auto contentEncryptionKey = encrypter.makeContentEncryptionKey(header);
    if (contentEncryptionKey.ephemeralPublicKey) {
        header.setEphemeralPublicKey(*std::move(contentEncryptionKey.ephemeralPublicKey));
    }
    ByteBuffer iv(content.ivSize);
    secRandomCopyBytes(iv);

    const auto headerText = makeHeaderText(header);
    compact_.reserve(
        addSizes({base64urlSize(headerText.size()), base64urlSize(contentEncryptionKey.encryptedKey.size()),
                  base64urlSize(iv.size()), base64urlSize(ciphertextSize(content, plaintextSize)),
                  base64urlSize(content.tagSize), JWE::componentCount - 1}));
    appendBase64url(compact_, headerText);
    contentEncrypter_ = makeContentEncrypter(content, contentEncryptionKey.key, iv, compact_);
    appendPart(contentEncryptionKey.encryptedKey);
    appendPart(iv);
    compact_.push_back('.');
}

void JWEWriter::write(ByteView plaintext) {
    std::array<std::uint8_t, charactersPerChunk + 2 * aesBlockSize> ciphertext;
    std::copy_n(pending_.begin(), pendingSize_, ciphertext.begin());
    while (!plaintext.empty()) {
        const auto chunk = plaintext.first(std::min(plaintext.size(), charactersPerChunk));
        const auto size = pendingSize_ + contentEncrypter_->update(chunk, std::span(ciphertext).subspan(pendingSize_));
        pendingSize_ = size % 3;
        const auto groups = size - pendingSize_;
        appendBase64url(compact_, ByteView(ciphertext).first(groups));
        if (groups > 0) std::copy_n(ciphertext.begin() + groups, pendingSize_, ciphertext.begin());
        plaintext = plaintext.subspan(chunk.size());
    }
    std::copy_n(ciphertext.begin(), pendingSize_, pending_.begin());
}

ByteBuffer JWEWriter::finish() {
    std::array<std::uint8_t, 3 * aesBlockSize> ciphertext;
    std::copy_n(pending_.begin(), pendingSize_, ciphertext.begin());
    const auto size = pendingSize_ + contentEncrypter_->finish(std::span(ciphertext).subspan(pendingSize_));
    appendBase64url(compact_, ByteView(ciphertext).first(size));
    appendPart(contentEncrypter_->tag());
    return std::move(compact_);
}

void JWEWriter::appendPart(ByteView part) {
    compact_.push_back('.');
    appendBase64url(compact_, part);
}

}  // namespace Torvane::JOSE
