// Public keys as text: SubjectPublicKeyInfo in DER and PEM.
#pragma once

#include <string>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// The public key as SubjectPublicKeyInfo in DER (RFC 5280, section 4.1.2.7), with an EC point in uncompressed form.
ByteBuffer subjectPublicKeyInfo(const EVP_PKEY* key);

/// SubjectPublicKeyInfo as PEM (RFC 7468, section 13): lines of 64 characters, each ended by a newline.
std::string publicKeyPem(ByteView subjectPublicKeyInfo);

}  // namespace Torvane::Crypto
