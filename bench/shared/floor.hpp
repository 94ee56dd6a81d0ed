// The floor: the bare OpenSSL calls on the same number of bytes, which no library can undercut. Keys, contexts,
// algorithms and buffers are prepared beforehand, contexts are reused, and there is no base64 and no JSON.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "bench/shared/openssl.hpp"
#include "bench/shared/party.hpp"

namespace Bench {

using View = std::span<const std::uint8_t>;

Pkey readKey(const std::string& pem);

/// SHA-256 of an input.
class HashFloor {
  public:
    using Hash = std::array<std::uint8_t, 32>;

    HashFloor();
    const Hash& operator()(View input);

  private:
    Digest algorithm_;
    DigestContext context_;
    Hash hash_{};
};

/// SHA-256 and a signature: PKCS #1 v1.5 with an RSA key, ECDSA in DER with an EC key.
class SignatureFloor {
  public:
    explicit SignatureFloor(EVP_PKEY* key);
    void sign(View input);
    /// Throws if signature() is not a signature of the input.
    void verify(View input);

    View signature() const { return View(signature_).first(size_); }
    void setSignature(View signature);

  private:
    HashFloor hash_;
    PkeyContext signing_, verifying_;
    Bytes signature_;
    std::size_t size_ = 0;
};

/// A128CBC-HS256 or A256GCM; both have a key of 32 bytes and a tag of 16 bytes.
class ContentFloor {
  public:
    explicit ContentFloor(const std::string& enc);

    void makeKey();
    void makeIv();
    /// Returns the number of bytes written, at most maximumSize(in.size()).
    std::size_t encrypt(View additionalData, View in, std::uint8_t* out);
    /// Throws if the tag or the padding is wrong.
    std::size_t decrypt(View additionalData, View in, std::uint8_t* out);

    static std::size_t maximumSize(std::size_t plaintextSize) { return plaintextSize + 16; }

    std::array<std::uint8_t, 32> key{};
    Bytes iv;
    std::array<std::uint8_t, 16> tag{};

  private:
    void authenticate(View additionalData, View ciphertext);
    std::size_t run(EVP_CIPHER_CTX* context, View additionalData, View in, std::uint8_t* out) const;

    bool isGcm_;
    Cipher cipher_;
    CipherContext encrypting_, decrypting_;
    Mac mac_;
    MacContext macContext_;
    std::array<std::uint8_t, 32> fullTag_{};
};

struct TokenParts {
    /// The header is still base64url; the others are decoded.
    Bytes header, encryptedKey, ciphertext;
};

/// Splits a compact JWE. Stores its initialization vector and tag in `content`.
TokenParts splitToken(View token, ContentFloor& content);

/// The primitives of a nested token: RS256, RSA-OAEP-256 and the content encryption.
class MessageFloor {
  public:
    /// Takes the parts of a token made with these keys, and checks all operations on them, also with faults.
    MessageFloor(const Keys& keys, const std::string& enc, View token);

    /// From the JWS signing input to the parts of the JWE.
    void encode();
    /// From the parts of the JWE to the verified JWS.
    void decode();
    /// Verifies a JWS and encrypts it: the RSA public operations alone.
    void verifyEncrypt();

    std::size_t ciphertextSize() const { return ciphertext_.size(); }
    std::size_t jwsSize() const { return jws_.size(); }

  private:
    void encrypt();
    void decrypt();
    void checkSelf();
    View signingInput(const Bytes& jws) const { return View(jws).first(signedSize_); }

    Pkey signingKey_, decryptionKey_;
    SignatureFloor signature_;
    PkeyContext wrapping_, unwrapping_;
    ContentFloor content_;
    Bytes jweHeader_, encryptedKey_, ciphertext_, decrypted_, jws_;
    std::size_t decryptedSize_ = 0, signedSize_ = 0;
};

}  // namespace Bench
