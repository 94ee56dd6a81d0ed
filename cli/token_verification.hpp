// Verification of a compact JWS with the keys of --key.
#pragma once

#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/key_files.hpp"
#include "cli/token_commands.hpp"

namespace Command {

struct VerifiedPayload {
    Torvane::ByteBuffer bytes;
    Torvane::JSONValue::Object header;
    /// That verified the signature.
    GivenKey key;
};

/// Verifies a token with the keys that fit it, and checks its claims if the options have a policy.
/// @param keys public keys. One that has no "alg" is used with all algorithms of its kind, but never with "none".
/// @param algorithms the only ones that are allowed; empty for those of the keys.
/// @throws Failure
VerifiedPayload verifyToken(std::string_view token, std::vector<GivenKey> keys,
                            const std::vector<Torvane::JOSE::SignatureAlgorithm>& algorithms,
                            const PolicyOptions& policy);

/// The algorithms with these names.
/// @throws Failure
std::vector<Torvane::JOSE::SignatureAlgorithm> findSignatures(const std::vector<std::string>& names);

/// Writes the payload or, as JSON, the payload with the headers and the key. On a terminal, says if claims were not
/// checked.
/// @param jweHeader of the token around it, if there was one.
/// @throws Failure
void writeVerified(const std::string& output, const VerifiedPayload& verified, const PolicyOptions& policy, bool asJSON,
                   const Torvane::JSONValue::Object* jweHeader = nullptr);

}  // namespace Command
