#include "torvane/platform/jose/certificates.hpp"

#include <openssl/pem.h>
#include <openssl/x509.h>

#include "torvane/platform/encodings/base64.hpp"
#include "torvane/platform/jose/error.hpp"
#include "torvane/platform/key_stores/internal/pem_block.hpp"
#include "torvane/platform/primitives/digest.hpp"

namespace Torvane::JOSE {
namespace {

using Bio = Crypto::Handle<BIO, BIO_free>;
using Certificate = Crypto::Handle<X509, X509_free>;

// Returns the argument. A hash of anything else, such as PEM text, would look like a thumbprint.
ByteView requireCertificate(ByteView der) {
    const Crypto::ErrorScope scope;
    const auto* end = der.data();
    const Certificate certificate(d2i_X509(nullptr, &end, Crypto::toInt(der.size(), "read a certificate")));
    if (!certificate || end != der.data() + der.size()) {
        throw JOSESwiftError::parsingFailed("The bytes are not one certificate in DER.");
    }
    return der;
}

}  // namespace

std::vector<ByteBuffer> readCertificates(ByteView pem) {
    std::vector<ByteBuffer> certificates;
    // An empty view may have no address, but OpenSSL needs one.
    const auto* text = pem.empty() ? "" : asText(pem).data();
    const Bio input(
        Crypto::check(BIO_new_mem_buf(text, Crypto::toInt(pem.size(), "read certificates")), "read certificates"));
    for (bool isAtEnd = false; !isAtEnd;) {
        const Crypto::ErrorScope scope;
        Crypto::PemBlock block;
        if (block.read(input.get())) {
            if (block.label() != PEM_STRING_X509 && block.label() != PEM_STRING_X509_OLD) continue;
            const auto der = requireCertificate(block.data());
            certificates.emplace_back(der.begin(), der.end());
        } else if (const auto error = ERR_peek_last_error();
                   ERR_GET_LIB(error) == ERR_LIB_PEM && ERR_GET_REASON(error) == PEM_R_NO_START_LINE) {
            isAtEnd = true;
        } else {
            throw JOSESwiftError::parsingFailed("The PEM text is malformed.");
        }
    }
    if (certificates.empty()) throw JOSESwiftError::parsingFailed("The PEM text holds no certificate.");
    return certificates;
}

JSONValue::List makeCertificateChain(std::span<const ByteBuffer> certificates) {
    if (certificates.empty()) throw JOSESwiftError::parsingFailed("A certificate chain has at least one certificate.");
    JSONValue::List chain;
    for (const auto& certificate : certificates) chain.emplace_back(encodeBase64(requireCertificate(certificate)));
    return chain;
}

std::string certificateThumbprint(ByteView certificate, HashFunction hash) {
    return encodeBase64url(Crypto::digest(hash, requireCertificate(certificate)));
}

}  // namespace Torvane::JOSE
