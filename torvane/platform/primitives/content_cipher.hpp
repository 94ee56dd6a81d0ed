// Content encryption of JWE: AES-CBC with HMAC and AES-GCM (RFC 7518, sections 5.2 and 5.3).
//
// No function checks the sizes of key and IV: the caller's algorithm determines them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

namespace Torvane::Crypto {

/// Encryption of one plaintext that arrives in chunks, so that a long one needs no second buffer of its size.
class ContentEncrypter {
  public:
    virtual ~ContentEncrypter() = default;

    /// Encrypts the next chunk into `out`, which has room for the chunk and one more cipher block (16 bytes). Returns
    /// how many bytes it wrote.
    virtual std::size_t update(ByteView plaintext, std::span<std::uint8_t> out) = 0;

    /// Writes the rest of the ciphertext (at most 16 bytes) to `out`, returns its size, and computes the tag.
    virtual std::size_t finish(std::span<std::uint8_t> out) = 0;

    /// The authentication tag; valid after finish().
    [[nodiscard]] virtual ByteBuffer tag() const = 0;
};

/// AES-GCM. The key is 16, 24 or 32 bytes, the IV 12 bytes, and the tag 16 bytes.
std::unique_ptr<ContentEncrypter> makeGcmEncrypter(ByteView key, ByteView iv, ByteView additionalData);

/// AES-CBC with PKCS #7 padding, then HMAC over additional data, IV, ciphertext and the bit length of the additional
/// data. The key is 32, 48 or 64 bytes: its first half is the MAC key, its second half the AES key. The IV is 16 bytes;
/// the tag is the first half of the MAC.
std::unique_ptr<ContentEncrypter> makeCbcHmacEncrypter(HashFunction hash, ByteView key, ByteView iv,
                                                       ByteView additionalData);

/// Decrypts in place: on success `buffer`, which holds the ciphertext, holds the plaintext. Returns false when the tag
/// is wrong; the buffer is then wiped and empty. Key and IV as for makeGcmEncrypter(); the tag is exactly 16 bytes.
bool decryptGcm(ByteView key, ByteView iv, ByteView additionalData, ByteView tag, ByteBuffer& buffer);

/// The same for makeCbcHmacEncrypter(). The MAC is checked before anything is decrypted. Wrong padding also returns
/// false, with the buffer wiped and empty.
bool decryptCbcHmac(HashFunction hash, ByteView key, ByteView iv, ByteView additionalData, ByteView tag,
                    ByteBuffer& buffer);

}  // namespace Torvane::Crypto
