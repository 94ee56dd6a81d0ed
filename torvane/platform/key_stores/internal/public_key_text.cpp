#include "torvane/platform/key_stores/internal/public_key_text.hpp"

#include <openssl/x509.h>

#include "torvane/platform/encodings/base64.hpp"

namespace Torvane::Crypto {

ByteBuffer subjectPublicKeyInfo(const EVP_PKEY* key) {
    const ErrorScope scope;
    const auto size = i2d_PUBKEY(key, nullptr);
    ByteBuffer der(size > 0 ? static_cast<std::size_t>(size) : 0);
    auto* end = der.data();
    check(!der.empty() && i2d_PUBKEY(key, &end) == size ? 1 : 0, "write a public key");
    return der;
}

std::string publicKeyPem(ByteView subjectPublicKeyInfo) {
    constexpr std::size_t lineLength = 64;
    const auto base64 = encodeBase64(subjectPublicKeyInfo);
    std::string pem = "-----BEGIN PUBLIC KEY-----\n";
    for (std::size_t start = 0; start < base64.size(); start += lineLength) {
        pem.append(base64, start, lineLength).append("\n");
    }
    return pem.append("-----END PUBLIC KEY-----\n");
}

}  // namespace Torvane::Crypto
