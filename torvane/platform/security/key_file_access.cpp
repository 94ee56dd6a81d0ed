#include "torvane/platform/security/key_file_access.hpp"

#include <optional>
#include <string>

#include "torvane/platform/crypto/key_text.hpp"
#include "torvane/platform/error.hpp"
#include "torvane/platform/security/key_file.hpp"

namespace Platform {

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

}  // namespace Platform
