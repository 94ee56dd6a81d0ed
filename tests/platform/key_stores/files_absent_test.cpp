#include <filesystem>

#include "torvane/platform/key_library/open_key.hpp"
#include "torvane/platform/key_stores/key_uri.hpp"

#include "tests/testing/testing.hpp"

namespace {

using namespace Torvane;

TEST(KeyFile, ThrowsNotSupportedInABuildWithoutFiles) {
    const auto absent = KeyStoreError::notSupported("This build of the library opens no files.");
    for (const std::string_view uri : {"/dev/null", "file:///dev/null", "new.pem", "file://other/key.pem"}) {
        EXPECT_ERROR(openKey(uri, KeyClass::privateKey), absent);
        EXPECT_ERROR(Zennet::openKey(uri, KeyClass::publicKey), absent);
        EXPECT_ERROR(generateECKeyAt(uri, EllipticCurve::P256), absent);
        EXPECT_ERROR(generateRSAKeyAt(uri, 1), absent) << "a key is generated first";
    }
    EXPECT_FALSE(std::filesystem::exists("new.pem"));
}

}  // namespace
