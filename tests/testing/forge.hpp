// Tokens that an attacker who knows the content key, or holds the signing key, could make: right in
// everything but the one thing that a test is about.
#pragma once

#include <string_view>
#include <tuple>
#include <utility>

#include "torvane/platform/crypto/content_cipher.hpp"
#include "torvane/platform/crypto/digest.hpp"
#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/jose/key_agreement.hpp"
#include "torvane/platform/jose/signer.hpp"

#include "tests/testing/tokens.hpp"

namespace Testing {

/// A JWS with any header text and a signature that is valid for it.
inline Platform::ByteBuffer signedToken(std::string_view header, std::string_view payload, const JOSE::Signer& signer) {
    const auto input = Platform::encodeBase64url(Platform::asBytes(header)) + "." +
                       Platform::encodeBase64url(Platform::asBytes(payload));
    return bytesOf(input + "." + Platform::encodeBase64url(signer.sign(Platform::asBytes(input))));
}

/// Ciphertext and tag.
inline std::pair<Platform::ByteBuffer, Platform::ByteBuffer> encrypted(JOSE::ContentEncryptionAlgorithm encryption,
                                                                       Platform::ByteView key, Platform::ByteView iv,
                                                                       Platform::ByteView aad,
                                                                       Platform::ByteView plaintext) {
    const auto hash = JOSE::parameters(encryption).macHash;
    const auto encryptor =
        hash ? Platform::Crypto::cbcHmacEncryptor(*hash, key, iv, aad) : Platform::Crypto::gcmEncryptor(key, iv, aad);
    Platform::ByteBuffer ciphertext(plaintext.size() + 32);
    auto size = encryptor->update(plaintext, ciphertext);
    size += encryptor->finish(std::span(ciphertext).subspan(size));
    ciphertext.resize(size);
    return {ciphertext, encryptor->tag()};
}

/// A JWE under a content key of the forger's choice; each part is free to be changed before it is put together.
struct ForgedJWE {
    JOSE::ContentEncryptionAlgorithm encryption;
    std::string header;
    Platform::ByteBuffer contentKey, encryptedKey, iv, ciphertext, tag;

    /// Sizes as they ought to be, the plaintext as given.
    ForgedJWE(JOSE::ContentEncryptionAlgorithm encryptionAlgorithm, std::string headerText,
              const Platform::SecKey& recipient, Platform::HashFunction oaepHash, std::string_view plaintext)
        : encryption(encryptionAlgorithm), header(std::move(headerText)) {
        const auto content = JOSE::parameters(encryption);
        contentKey.assign(content.keySize, 0x42);
        encryptedKey = recipient.encrypt(oaepHash, contentKey);
        iv.assign(content.ivSize, 0x17);
        encrypt(plaintext);
    }

    Platform::ByteBuffer additionalData() const {
        return bytesOf(Platform::encodeBase64url(Platform::asBytes(header)));
    }

    void encrypt(std::string_view plaintext) {
        std::tie(ciphertext, tag) =
            encrypted(encryption, contentKey, iv, additionalData(), Platform::asBytes(plaintext));
    }

    /// The tag that AES-CBC with HMAC asks for, over whatever the ciphertext is.
    void authenticate() {
        Platform::Crypto::Hmac mac(*JOSE::parameters(encryption).macHash,
                                   Platform::ByteView(contentKey).first(contentKey.size() / 2));
        const auto aad = additionalData();
        mac.update(aad);
        mac.update(iv);
        mac.update(ciphertext);
        Platform::ByteBuffer length(8);
        for (std::size_t i = 0; i < 8; ++i) length[7 - i] = static_cast<std::uint8_t>((aad.size() * 8) >> (8 * i));
        mac.update(length);
        const auto whole = mac.finish();
        tag.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
    }

    Platform::ByteBuffer token() const {
        std::vector<std::string> pieces{Platform::encodeBase64url(Platform::asBytes(header))};
        for (const auto* part : {&encryptedKey, &iv, &ciphertext, &tag}) {
            pieces.push_back(Platform::encodeBase64url(*part));
        }
        return joined(pieces);
    }
};

inline Platform::SecKey ephemeralKeyOf(Platform::ByteView token) {
    return JOSE::JWK::initFrom(bytesOf(nlohmann::json::parse(headerText(token)).at("epk").dump())).converted();
}

/// What the parties of an ECDH-ES token agree on, by the recipient's private key: the content key, or what wraps it.
inline Platform::SecretBuffer agreedKeyOf(Platform::ByteView token, const Platform::SecKey& own,
                                          JOSE::KeyManagementAlgorithm management,
                                          JOSE::ContentEncryptionAlgorithm encryption) {
    return JOSE::agreedKey(own, ephemeralKeyOf(token), management, encryption, {});
}

}  // namespace Testing
