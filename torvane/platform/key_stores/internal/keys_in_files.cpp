#include "torvane/platform/key_stores/internal/keys_in_files.hpp"

#include <optional>
#include <string>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/key_stores/internal/key_file.hpp"
#include "torvane/platform/key_stores/internal/key_text.hpp"

namespace Torvane {

Crypto::Pkey keyOfFile(std::string_view uri, KeyHalf half, const SecretSource& secret) {
    const auto path = pathOf(uri);
    return Crypto::readKey(readFile(path), half, secret, debugQuoted(path));
}

Crypto::Pkey keyIntoFile(std::string_view uri, const Crypto::Pkey& key, const SecretSource& secret) {
    const auto path = pathOf(uri);
    const auto origin = debugQuoted(path);
    std::optional<SecretBuffer> passphrase;
    if (secret) passphrase = secret("a new passphrase of " + origin);
    const auto text = Crypto::privateKeyPem(key.get(), passphrase);
    auto made = Crypto::readKey(
        text, KeyHalf::privateHalf, [&](std::string_view) { return passphrase; }, origin);
    writeNewFile(path, text);
    return made;
}

}  // namespace Torvane
