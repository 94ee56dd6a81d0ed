#include "torvane/platform/security/key_uri.hpp"

#include <optional>
#include <string>

#include "torvane/platform/crypto/asymmetric_key.hpp"
#include "torvane/platform/crypto/key_text.hpp"
#include "torvane/platform/error.hpp"
#include "torvane/platform/security/key_file.hpp"
#include "torvane/platform/security/pkcs11_key_store.hpp"
#include "torvane/platform/security/software_key_store.hpp"

namespace Platform {
namespace {

bool isInToken(std::string_view uri) noexcept {
    return hasScheme(uri, "pkcs11");
}

// Comes back through the file's text, so that what was written is known to be readable.
SecKey intoFile(std::string_view uri, const Crypto::Pkey& key, const SecretSource& source) {
    const auto path = pathOf(uri);
    const auto origin = debugQuoted(path);
    std::optional<SecretBuffer> passphrase;
    if (source) passphrase = source("a new passphrase of " + origin);
    const auto text = Crypto::privateKeyPem(key.get(), passphrase);
    auto made = SoftwareKeyStore::load(
        text, KeyHalf::privateHalf, [&](std::string_view) { return passphrase; }, origin);
    writeNewFile(path, text);
    return made;
}

}  // namespace

SecKey openKey(std::string_view uri, KeyHalf half, const SecretSource& secret) {
    if (isInToken(uri)) return Pkcs11KeyStore(uri, secret).key(half);
    const auto path = pathOf(uri);
    return SoftwareKeyStore::load(readFile(path), half, secret, debugQuoted(path));
}

SecKey generateRSAKey(std::string_view uri, std::size_t modulusBits, const SecretSource& secret) {
    if (!isInToken(uri)) return intoFile(uri, Crypto::generateRSA(modulusBits), secret);
    const Pkcs11KeyStore store(uri, secret);
    return store.generateRSA(modulusBits, store.keyName());
}

SecKey generateECKey(std::string_view uri, EllipticCurve curve, const SecretSource& secret) {
    if (!isInToken(uri)) return intoFile(uri, Crypto::generateEC(curve), secret);
    const Pkcs11KeyStore store(uri, secret);
    return store.generateEC(curve, store.keyName());
}

}  // namespace Platform
