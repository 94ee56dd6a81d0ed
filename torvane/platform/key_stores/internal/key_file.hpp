// Keys in files: reading one key from a file, and writing a new private key to a file.
#pragma once

#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane {

/// @throws KeyStoreError notSupported in a build that opens no files.
void requireFiles();

/// Reads the one key of that class from the file that a path or "file" URI names.
/// @throws KeyStoreError invalidURI or unavailable, and what Crypto::readKey() throws.
Crypto::Pkey readKeyFile(std::string_view uri, KeyClass keyClass, const SecretSource& askForSecret,
                         const Limits& limits);

/// Writes a private key to a new file, encrypted if the callback returns a passphrase. Returns the key as it was read
/// back from the file's text, which proves that the file can be read.
/// @throws KeyStoreError invalidURI, or unavailable when the file exists or cannot be written.
Crypto::Pkey writeKeyFile(std::string_view uri, const Crypto::Pkey& key, const SecretSource& askForSecret);

}  // namespace Torvane
