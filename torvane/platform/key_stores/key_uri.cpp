#include "torvane/platform/key_stores/key_uri.hpp"

#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/key_stores/internal/key_file.hpp"
#include "torvane/platform/key_stores/internal/software_key.hpp"
#include "torvane/platform/key_stores/pkcs11_key_store.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"

namespace Torvane {
namespace {

template <class Generate>
SecKey generateInFile(std::string_view uri, const SecretSource& askForSecret, Generate generate) {
    requireFiles();
    return makeSoftwareKey(writeKeyFile(uri, generate(), askForSecret), KeyClass::privateKey);
}

Pkcs11KeyStore openStore(std::string_view uri, const SecretSource& askForPin, LastPinTry lastPinTry) {
    Pkcs11KeyStore store(uri, askForPin);
    if (lastPinTry == LastPinTry::spend) store.allowLastTry();
    return store;
}

}  // namespace

bool isPkcs11URI(std::string_view uri) noexcept {
    return hasScheme(uri, "pkcs11");
}

SecKey openKey(std::string_view uri, KeyClass keyClass, const SecretSource& askForSecret, LastPinTry lastPinTry,
               const Limits& limits) {
    if (isPkcs11URI(uri)) return openStore(uri, askForSecret, lastPinTry).key(keyClass);
    return makeSoftwareKey(readKeyFile(uri, keyClass, askForSecret, limits), keyClass);
}

SecKey generateRSAKeyAt(std::string_view uri, std::size_t modulusBits, const SecretSource& askForSecret,
                        LastPinTry lastPinTry) {
    if (!isPkcs11URI(uri)) {
        return generateInFile(uri, askForSecret, [&] { return Crypto::generateRSA(modulusBits); });
    }
    const auto store = openStore(uri, askForSecret, lastPinTry);
    return store.generateRSA(modulusBits, store.keyName());
}

SecKey generateECKeyAt(std::string_view uri, EllipticCurve curve, const SecretSource& askForSecret,
                       LastPinTry lastPinTry) {
    if (!isPkcs11URI(uri)) {
        return generateInFile(uri, askForSecret, [&] { return Crypto::generateEC(curve); });
    }
    const auto store = openStore(uri, askForSecret, lastPinTry);
    return store.generateEC(curve, store.keyName());
}

}  // namespace Torvane
