// Recognition of private keys in files.
#pragma once

#include <torvane/torvane.hpp>

namespace Command {

/// Whether the content holds a private key, in doubt yes: PEM, DER (encrypted too), PKCS #12, or JSON with a private or
/// symmetric JWK anywhere in it, even if it is malformed.
bool holdsPrivateKey(Torvane::ByteView content);

}  // namespace Command
