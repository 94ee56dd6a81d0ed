#include "torvane/platform/key_stores/key_uri.hpp"

#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/key_stores/internal/key_file.hpp"
#include "torvane/platform/key_stores/internal/software_key.hpp"
#include "torvane/platform/key_stores/pkcs11_key_store.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"

namespace Torvane {
namespace {

SecKey writeToFile(std::string_view uri, const Crypto::Pkey& key, const SecretSource& secret) {
    return makeSoftwareKey(writeKeyFile(uri, key, secret), KeyClass::privateKey);
}

}  // namespace

bool isPkcs11URI(std::string_view uri) noexcept {
    return hasScheme(uri, "pkcs11");
}

SecKey openKey(std::string_view uri, KeyClass keyClass, const SecretSource& secret) {
    if (isPkcs11URI(uri)) return Pkcs11KeyStore(uri, secret).key(keyClass);
    return makeSoftwareKey(readKeyFile(uri, keyClass, secret), keyClass);
}

SecKey generateRSAKeyAt(std::string_view uri, std::size_t modulusBits, const SecretSource& secret) {
    if (!isPkcs11URI(uri)) return writeToFile(uri, Crypto::generateRSA(modulusBits), secret);
    const Pkcs11KeyStore store(uri, secret);
    return store.generateRSA(modulusBits, store.keyName());
}

SecKey generateECKeyAt(std::string_view uri, EllipticCurve curve, const SecretSource& secret) {
    if (!isPkcs11URI(uri)) return writeToFile(uri, Crypto::generateEC(curve), secret);
    const Pkcs11KeyStore store(uri, secret);
    return store.generateEC(curve, store.keyName());
}

}  // namespace Torvane
