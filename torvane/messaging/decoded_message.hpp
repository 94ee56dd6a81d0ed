// DecodedMessage: a message with what its token says about it.
#pragma once

#include <functional>

#include "torvane/keys/json_web_key.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// A message that was decrypted and verified.
struct DecodedMessage {
    /// The message exactly as the sender passed it to the encoding function.
    ByteBuffer payload;
    /// The protected header of the JWE, authenticated by its tag. Anybody can make a JWE for our public key.
    JSONValue::Object jweHeader;
    /// The protected header of the JWS, which the sender has signed.
    JSONValue::Object jwsHeader;
    /// The sender's key that verified the JWS.
    JsonWebKey key;
};

/// A rule for messages that have been verified: throws when a message must not be accepted.
using MessageCheck = std::function<void(ByteView payload, const JSONValue::Object& jwsHeader,
                                        const JsonWebKey& decryptionKey, const Limits& limits)>;

}  // namespace Torvane
