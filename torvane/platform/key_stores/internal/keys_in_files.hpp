// Keys in files, as OpenSSL holds them.
#pragma once

#include <string_view>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane {

/// The key of that half.
/// @throws KeyStoreError, and as Crypto::readKey().
Crypto::Pkey keyOfFile(std::string_view uri, KeyHalf half, const SecretSource& secret);

/// Makes a file of the private key, encrypted if the source gives a passphrase. What comes back was read from the
/// file's text, so that it is known to be readable.
/// @throws KeyStoreError
Crypto::Pkey keyIntoFile(std::string_view uri, const Crypto::Pkey& key, const SecretSource& secret);

}  // namespace Torvane
