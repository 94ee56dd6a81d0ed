// Tests with programs that hold keys until they exit.
#include <cstdlib>
#include <string>

#include "torvane/platform/key_stores/internal/file_io.hpp"

#include "tests/platform/key_stores/pkcs11/quirky_device.hpp"

namespace {

using namespace Testing;

int runKeyUser(const std::string& mode, const std::string& uri, const std::string& output = "/dev/null") {
    return std::system(
        ("timeout 60 '" TORVANE_GLOBAL_KEY_USER "' '" + mode + "' '" + uri + "&pin-value=1234' >" + output).c_str());
}

const char* const modes[] = {"in a global",       "in a global store",           "in a local static",
                             "in a forked child", "destroyed by a forked child", "used by a forked child",
                             "used at exit"};

TEST(ProcessExit, AKeyThatIsHeldUntilThenDoesNotCrash) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    for (const auto* mode : modes) {
        EXPECT_EQ(runKeyUser(mode, device.uri("object=sign")), 0) << mode;
        EXPECT_EQ(runKeyUser(mode, "pkcs11:token=app;object=sign?module-name=softhsm2"), 0) << mode;
    }
}

TEST(ProcessExit, AKeyBehindASocketDoesNotCrash) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const DeviceServer server(device);
    for (const auto* mode : modes) EXPECT_EQ(runKeyUser(mode, DeviceServer::uri("object=sign")), 0) << mode;
}

TEST(ProcessExit, AChildProcessLeavesTheSessionsOfItsParentAlone) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    ::setenv("QUIRK", "one process", 1);
    for (const auto* mode : modes) {
        EXPECT_EQ(runKeyUser(mode, quirkyUri("object=sign")), 0) << mode;
    }
    ::unsetenv("QUIRK");
}

TEST(ProcessExit, AKeyThatIsUsedThenIsUnavailable) {
    const SoftDevice device;
    device.import(ecP256, "sign", "01");
    const auto output = device.folder() / "output";
    EXPECT_EQ(runKeyUser("used at exit", device.uri("object=sign"), output), 0);
    const auto error = KeyStoreError::unavailable("A PKCS #11 token cannot be used while the process exits.");
    const auto shown = readFile(output);
    EXPECT_EQ(asText(shown), error.debugDescription() + "\n");
}

}  // namespace
