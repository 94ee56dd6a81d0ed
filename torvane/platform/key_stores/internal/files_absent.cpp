// Files of a library that is built without them: whatever would open one throws KeyStoreError notSupported.
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/file_io.hpp"
#include "torvane/platform/key_stores/internal/key_file.hpp"

namespace Torvane {
namespace {

[[noreturn]] void rejectFile() {
    throw KeyStoreError::notSupported("This build of the library opens no files.");
}

}  // namespace

void requireFiles() {
    rejectFile();
}

SecretBuffer readFile(const std::string&) {
    rejectFile();
}

Crypto::Pkey readKeyFile(std::string_view, KeyClass, const SecretSource&, const Limits&) {
    rejectFile();
}

Crypto::Pkey writeKeyFile(std::string_view, const Crypto::Pkey&, const SecretSource&) {
    rejectFile();
}

}  // namespace Torvane
