// The driver that behaves as some devices do and SoftHSM does not, in the process of the tests.
#pragma once

#include <cstdlib>
#include <dlfcn.h>
#include <p11-kit/pkcs11.h>
#include <regex>
#include <string>

#include "tests/platform/key_stores/pkcs11/device_testing.hpp"

namespace Testing {

inline std::string quirkyUri(const std::string& attributes) {
    return "pkcs11:token=app;" + attributes +
           "?module-path=" + std::regex_replace(TORVANE_QUIRKY_DRIVER, std::regex(" "), "%20");
}

inline unsigned askDriver(const char* function) {
    static void* const driver = ::dlopen(TORVANE_QUIRKY_DRIVER, RTLD_NOW);
    return reinterpret_cast<unsigned (*)()>(::dlsym(driver, function))();
}

inline unsigned countQuirks() {
    return askDriver("countQuirks");
}

// Switches a quirk of the driver on for the length of a scope, in which it has to show.
class Quirk {
  public:
    explicit Quirk(const std::string& name) : before_(countQuirks()) { ::setenv("QUIRK", name.c_str(), 1); }
    ~Quirk() {
        EXPECT_TRUE(isShown()) << ::getenv("QUIRK");
        ::unsetenv("QUIRK");
    }
    Quirk(const Quirk&) = delete;
    Quirk& operator=(const Quirk&) = delete;

    bool isShown() const { return countQuirks() > before_; }

  private:
    unsigned before_;
};

}  // namespace Testing
