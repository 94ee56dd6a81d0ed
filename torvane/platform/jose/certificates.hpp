// X.509 certificates in headers: the values of "x5c", "x5t#S256" and "x5t" (RFC 7515, sections 4.1.6 to 4.1.8).
//
// Certificates are only passed on. Nothing checks whom a certificate names, who signed it, when it is valid, whether it
// was revoked, or that the next one signed it.
//
//     using namespace Torvane;
//     const std::vector<ByteBuffer> chain = JOSE::readCertificates("-----BEGIN CERTIFICATE-----...");
//     std::string jws = signer.signJWTToString("m", {{"x5c", JOSE::makeCertificateChain(chain)},
//                                                    {"x5t#S256", JOSE::certificateThumbprint(chain.front())}});
#pragma once

#include <span>
#include <string>
#include <vector>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane::JOSE {

/// @{
/// The certificates of a PEM text (RFC 7468) in DER, at least one, in their order. Blocks of other kinds, such as a
/// private key, and text between the blocks are skipped.
/// @throws JOSESwiftError parsingFailed for a malformed block, a block "CERTIFICATE" that holds none, and a text
///         without certificates.
[[nodiscard]] TORVANE_EXPORT std::vector<ByteBuffer> readCertificates(ByteView pem);
[[nodiscard]] inline std::vector<ByteBuffer> readCertificates(const TextLike auto& pem) {
    return readCertificates(asBytes(pem));
}
/// @}

/// The value of "x5c" for certificates in DER: a list of texts in standard base64. The first certificate is that of the
/// key that signs or decrypts, and each following one is that of the key that signed the one before.
/// @throws JOSESwiftError parsingFailed for an empty list, and for anything else than one certificate in DER.
[[nodiscard]] TORVANE_EXPORT JSONValue::List makeCertificateChain(std::span<const ByteBuffer> certificates);

/// The value of "x5t#S256" for a certificate in DER, its hash in base64url: 43 characters. With SHA-1, that of "x5t".
/// The bytes are hashed as they are; the longer forms of BER are not noticed.
/// @throws JOSESwiftError parsingFailed for anything else than one certificate.
[[nodiscard]] TORVANE_EXPORT std::string certificateThumbprint(ByteView certificate,
                                                               HashFunction hash = HashFunction::SHA256);

}  // namespace Torvane::JOSE
