#include "torvane/platform/jose/jwe.hpp"

#include "torvane/platform/jose/internal/compact.hpp"
#include "torvane/platform/jose/internal/jwe_algorithms.hpp"
#include "torvane/platform/jose/internal/jwe_writer.hpp"
#include "torvane/platform/primitives/content_cipher.hpp"

namespace Torvane::JOSE {
namespace {

void requireSize(ByteView part, std::size_t size, const char* name) {
    if (part.size() != size) {
        throw JOSESwiftError::parsingFailed("The " + std::string(name) + " is not " + std::to_string(size) +
                                            " bytes long.");
    }
}

}  // namespace

JWE::JWE(JWEHeader header, ByteView payload, const Encrypter& encrypter) {
    JWEWriter writer(std::move(header), payload.size(), encrypter);
    writer.write(payload);
    compact_ = writer.finish();
}

ReceivedJWE::ReceivedJWE(ByteView compactSerialization, const Limits& limits)
    : ReceivedJWE(readCompact<JWE::componentCount>(
          compactSerialization, limits, [&limits](const Parts& parts) { return ReceivedJWE(parts, limits); })) {}

ReceivedJWE::ReceivedJWE(const Parts& parts, const Limits& limits)
    : header_(decodePart(parts[0], "header"), limits),
      additionalData_(parts[0]),
      encryptedKey_(decodePart(parts[1], "encrypted key")),
      initializationVector_(decodePart(parts[2], "initialization vector")),
      ciphertext_(decodePart(parts[3], "ciphertext")),
      authenticationTag_(decodePart(parts[4], "authentication tag")) {}

bool ReceivedJWE::hasEmptyPart() const noexcept {
    return encryptedKey_.empty() || initializationVector_.empty() || ciphertext_.data().empty() ||
           authenticationTag_.empty();
}

Payload ReceivedJWE::decrypt(const Decrypter& decrypter) && {
    // A failed call has emptied the buffer. Another key could decrypt the empty rest, which nobody has sent.
    if (std::exchange(isUsed_, true)) throw JOSESwiftError::decryptingFailed();
    requireAlgorithms(header_, decrypter, "decrypter's");
    const auto content = parameters(decrypter.contentEncryptionAlgorithm());
    requireSize(initializationVector_, content.ivSize, "initialization vector");
    requireSize(authenticationTag_, content.tagSize, "authentication tag");

    auto& buffer = ciphertext_.data();
    if (content.macHash && (buffer.empty() || buffer.size() % aesBlockSize != 0)) {
        throw JOSESwiftError::parsingFailed("The ciphertext is not made of whole blocks.");
    }
    const auto key = decrypter.recoverContentEncryptionKey(header_, encryptedKey_);
    const auto aad = asBytes(additionalData_);
    const bool decrypted =
        content.macHash
            ? Crypto::decryptCbcHmac(*content.macHash, key, initializationVector_, aad, authenticationTag_, buffer)
            : Crypto::decryptGcm(key, initializationVector_, aad, authenticationTag_, buffer);
    if (!decrypted) throw JOSESwiftError::decryptingFailed();
    return std::move(ciphertext_);
}

}  // namespace Torvane::JOSE
