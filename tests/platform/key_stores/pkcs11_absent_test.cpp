#include "torvane/platform/key_stores/key_uri.hpp"
#include "torvane/platform/key_stores/pkcs11_key_store.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;

TEST(Pkcs11KeyStore, ThrowsNotSupportedInABuildWithoutIt) {
    const auto absent = KeyStoreError::notSupported("This build of the library has no PKCS #11 key store.");
    EXPECT_ERROR(Pkcs11KeyStore("pkcs11:token=app"), absent);
    EXPECT_ERROR(openKey("pkcs11:token=app;object=sign", KeyClass::privateKey), absent);
    EXPECT_ERROR(generateECKeyAt("pkcs11:token=app;object=sign", EllipticCurve::P256), absent);
}

}  // namespace
