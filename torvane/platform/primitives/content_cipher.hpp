// Authenticated encryption of content: AES-CBC with HMAC, and AES-GCM (RFC 7518, sections 5.2 and 5.3).
#pragma once

#include <memory>
#include <optional>
#include <span>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"

namespace Torvane::Crypto {

/// Encrypts one message in blocks, so that a long one never needs a second buffer of its size.
class ContentEncryptor {
  public:
    virtual ~ContentEncryptor() = default;

    /// Encrypts the next bytes into `out`, which has room for them and one cipher block (16 bytes) more;
    /// returns how many bytes were written.
    virtual std::size_t update(ByteView plaintext, std::span<std::uint8_t> out) = 0;

    /// Writes what is left (at most 16 bytes) to `out` and returns its size; the tag is ready afterwards.
    virtual std::size_t finish(std::span<std::uint8_t> out) = 0;

    /// The authentication tag, after finish().
    virtual ByteBuffer tag() const = 0;
};

/// AES-GCM. Key 16, 24 or 32 bytes, IV 12 bytes, tag 16 bytes.
std::unique_ptr<ContentEncryptor> gcmEncryptor(ByteView key, ByteView iv, ByteView additionalData);

/// AES-CBC with PKCS #7 padding, then HMAC over additional data, IV, ciphertext and the additional data's bit
/// length. The key's first half is the MAC key, the second the cipher key; IV 16 bytes; the tag is the MAC's
/// first half.
std::unique_ptr<ContentEncryptor> cbcHmacEncryptor(HashFunction hash, ByteView key, ByteView iv,
                                                   ByteView additionalData);

/// Decrypts in place: the ciphertext's buffer becomes the plaintext. False, with the buffer wiped and
/// emptied, when the tag does not fit. Key and IV sizes as above; the tag is exactly 16 bytes.
bool gcmDecrypt(ByteView key, ByteView iv, ByteView additionalData, ByteView tag, ByteBuffer& buffer);

/// The same; the MAC is checked before anything is decrypted, and bad padding is the same failure.
bool cbcHmacDecrypt(HashFunction hash, ByteView key, ByteView iv, ByteView additionalData, ByteView tag,
                    ByteBuffer& buffer);

}  // namespace Torvane::Crypto
