// Pkcs11KeyStore of a library that is built without p11-kit: its constructor throws KeyStoreError notSupported.
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/pkcs11_key_store.hpp"

namespace Torvane {
namespace {

[[noreturn]] void throwUnsupported() {
    throw KeyStoreError::notSupported("This build of the library has no PKCS #11 key store.");
}

}  // namespace

// The other build keeps the source, and so takes it by value.
Pkcs11KeyStore::Pkcs11KeyStore(std::string_view, SecretSource) {  // NOLINT(performance-unnecessary-value-param)
    throwUnsupported();
}

const KeyName& Pkcs11KeyStore::keyName() const noexcept {
    static const KeyName none;
    return none;
}

SecKey Pkcs11KeyStore::key(KeyClass) const {
    throwUnsupported();
}

SecKey Pkcs11KeyStore::key(const KeyName&, KeyClass) const {
    throwUnsupported();
}

SecKey Pkcs11KeyStore::generateRSA(std::size_t, const KeyName&) const {
    throwUnsupported();
}

SecKey Pkcs11KeyStore::generateEC(EllipticCurve, const KeyName&) const {
    throwUnsupported();
}

void Pkcs11KeyStore::allowLastTry() const noexcept {}

}  // namespace Torvane
