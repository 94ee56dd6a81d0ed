// Forged tokens, such as a peer with valid keys could make: correct except for the one fault that a test is about.
#pragma once

#include <string_view>
#include <tuple>
#include <utility>

#include "torvane/platform/jose/algorithms.hpp"
#include "torvane/platform/jose/internal/key_agreement.hpp"
#include "torvane/platform/jose/jwk.hpp"
#include "torvane/platform/jose/signer.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"
#include "torvane/platform/primitives/digest.hpp"

#include "tests/testing/tokens.hpp"

namespace Testing {

using namespace Torvane;

/// A JWS with any header text, and a valid signature over it.
inline ByteBuffer signedToken(std::string_view header, std::string_view payload, const JOSE::Signer& signer) {
    const auto input = encodeBase64url(asBytes(header)) + "." + encodeBase64url(asBytes(payload));
    return bytesOf(input + "." + encodeBase64url(signer.sign(asBytes(input))));
}

/// Ciphertext and tag.
inline std::pair<ByteBuffer, ByteBuffer> encrypted(JOSE::ContentEncryptionAlgorithm encryption, ByteView key,
                                                   ByteView iv, ByteView aad, ByteView plaintext) {
    const auto hash = JOSE::parameters(encryption).macHash;
    const auto encrypter =
        hash ? Crypto::makeCbcHmacEncrypter(*hash, key, iv, aad) : Crypto::makeGcmEncrypter(key, iv, aad);
    ByteBuffer ciphertext(plaintext.size() + 32);
    auto size = encrypter->update(plaintext, ciphertext);
    size += encrypter->finish(std::span(ciphertext).subspan(size));
    ciphertext.resize(size);
    return {ciphertext, encrypter->tag()};
}

/// A JWE with a content encryption key that the forger knows. Each part may be changed before token() joins them.
struct ForgedJWE {
    JOSE::ContentEncryptionAlgorithm encryption;
    std::string header;
    ByteBuffer contentEncryptionKey, encryptedKey, iv, ciphertext, tag;

    /// Makes parts of the correct sizes.
    ForgedJWE(JOSE::ContentEncryptionAlgorithm encryptionAlgorithm, std::string headerText, const SecKey& recipient,
              HashFunction oaepHash, std::string_view plaintext)
        : encryption(encryptionAlgorithm), header(std::move(headerText)) {
        const auto content = JOSE::parameters(encryption);
        contentEncryptionKey.assign(content.keySize, 0x42);
        encryptedKey = recipient.encrypt(oaepHash, contentEncryptionKey);
        iv.assign(content.ivSize, 0x17);
        encrypt(plaintext);
    }

    ByteBuffer additionalData() const { return bytesOf(encodeBase64url(asBytes(header))); }

    void encrypt(std::string_view plaintext) {
        std::tie(ciphertext, tag) =
            encrypted(encryption, contentEncryptionKey, iv, additionalData(), asBytes(plaintext));
    }

    /// Computes the correct tag of AES-CBC with HMAC over the present ciphertext.
    void authenticate() {
        Crypto::Hmac mac(*JOSE::parameters(encryption).macHash,
                         ByteView(contentEncryptionKey).first(contentEncryptionKey.size() / 2));
        const auto aad = additionalData();
        mac.update(aad);
        mac.update(iv);
        mac.update(ciphertext);
        ByteBuffer length(8);
        const auto bits = std::uint64_t{aad.size()} * 8;
        for (std::size_t i = 0; i < 8; ++i) length[7 - i] = static_cast<std::uint8_t>(bits >> (8 * i));
        mac.update(length);
        const auto whole = mac.finish();
        tag.assign(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(whole.size() / 2));
    }

    ByteBuffer token() const {
        std::vector<std::string> encodedParts{encodeBase64url(asBytes(header))};
        for (const auto* part : {&encryptedKey, &iv, &ciphertext, &tag}) {
            encodedParts.push_back(encodeBase64url(*part));
        }
        return joined(encodedParts);
    }
};

inline SecKey ephemeralKeyOf(ByteView token) {
    return JOSE::JWK::initFrom(bytesOf(nlohmann::json::parse(headerText(token)).at("epk").dump())).converted();
}

/// The key that the parties of an ECDH-ES token agree on, computed with the recipient's private key: the content
/// encryption key, or the key that wraps it.
inline SecretBuffer agreedKeyOf(ByteView token, const SecKey& own, JOSE::KeyManagementAlgorithm management,
                                JOSE::ContentEncryptionAlgorithm encryption) {
    return JOSE::agreeOnKey(own, ephemeralKeyOf(token), management, encryption, {});
}

}  // namespace Testing
