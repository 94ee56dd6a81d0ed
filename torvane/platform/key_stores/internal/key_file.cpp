#include "torvane/platform/key_stores/internal/key_file.hpp"

#include <optional>
#include <string>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/file_io.hpp"
#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/key_stores/internal/key_encoding.hpp"

namespace Torvane {

void requireFiles() {}

Crypto::Pkey readKeyFile(std::string_view uri, KeyClass keyClass, const SecretSource& askForSecret,
                         const Limits& limits) {
    const auto path = readPath(uri);
    return Crypto::readKey(readFile(path), keyClass, askForSecret, quoteWithoutPin(path), limits);
}

Crypto::Pkey writeKeyFile(std::string_view uri, const Crypto::Pkey& key, const SecretSource& askForSecret) {
    const auto path = readPath(uri);
    const auto origin = quoteWithoutPin(path);
    std::optional<SecretBuffer> passphrase;
    if (askForSecret) passphrase = askForSecret("a new passphrase of " + origin);
    const auto text = Crypto::writePrivateKeyPem(key.get(), passphrase);
    auto readBack = Crypto::readKey(
        text, KeyClass::privateKey, [&](std::string_view) { return passphrase; }, origin);
    writeNewFile(path, text);
    return readBack;
}

}  // namespace Torvane
