// Program that holds a private key with static storage duration, signs, and returns from main. Its arguments are a mode
// and the URI of an EC key. The exit status is 0 if nothing failed.
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string_view>
#include <sys/wait.h>
#include <unistd.h>

#include "torvane/torvane.hpp"

namespace {

using namespace Torvane;

const ByteBuffer digest(32, 7);

void requireSignature(const SecKey& key) {
    const auto signature = key.sign(SignatureScheme::ECDSA, HashFunction::SHA256, digest);
    if (!key.verify(SignatureScheme::ECDSA, HashFunction::SHA256, digest, signature)) std::_Exit(2);
}

// Destroyed after the driver's static variables, since it exists before the driver is loaded.
std::optional<Pkcs11KeyStore> globalStore;

struct GlobalKey {
    std::optional<SecKey> key;
    bool signsAtExit = false;

    ~GlobalKey() {
        if (!signsAtExit) return;
        try {
            requireSignature(*key);
            std::_Exit(3);
        } catch (const KeyStoreError& error) {
            std::cout << error.debugDescription() << std::endl;
        }
    }
};
GlobalKey global;

// Returns true in the child process, and in this process the status of the child.
bool isChild(int& status) {
    const auto process = ::fork();
    if (process == 0) return true;
    if (process < 0 || ::waitpid(process, &status, 0) != process) std::_Exit(4);
    if (status != 0) std::cerr << "status of the child process: " << status << std::endl;
    return false;
}

}  // namespace

int main(int, char** arguments) {
    const std::string_view mode = arguments[1];
    const Pkcs11KeyStore store(arguments[2]);
    const auto key = store.key(KeyClass::privateKey);
    requireSignature(key);
    int status = 0;
    if (mode == "in a global") {
        global.key = key;
    } else if (mode == "in a global store") {
        globalStore = store;
    } else if (mode == "in a local static") {
        static const auto kept = openKey(arguments[2], KeyClass::privateKey);
        requireSignature(kept);
    } else if (mode == "destroyed by a forked child") {
        if (isChild(status)) return 0;
        requireSignature(key);
    } else if (mode == "in a forked child") {
        global.key = key;
        if (isChild(status)) return 0;
    } else if (mode == "used by a forked child") {
        global.key = key;
        if (isChild(status)) {
            requireSignature(key);
            return 0;
        }
        requireSignature(key);
    } else if (mode == "used at exit") {
        global.key = key;
        global.signsAtExit = true;
    } else {
        return 5;
    }
    return status == 0 ? 0 : 1;
}
