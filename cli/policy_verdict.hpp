// What a policy says of the claims of a token.
#pragma once

#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/exit_code.hpp"
#include "cli/token_commands.hpp"

namespace Command {

struct PolicyVerdict {
    /// Why the policy rejects the claims; nothing if it accepts them.
    std::optional<Failure> rejection{};
    /// The name of the ClaimsError::Case, and the claim, which is empty if the payload is not a JSON object.
    std::string errorCase{}, claim{};
    /// If the policy accepts the claims: those that it compared, and "typ" of the header.
    std::vector<std::string> checked{};
};

/// Checks claims, whether or not a signature was verified.
/// @param header of the token with the claims.
/// @throws Failure for options that contradict each other or cannot be read.
PolicyVerdict judgeClaims(Torvane::ByteView payload, const Torvane::JSONValue::Object& header,
                          const PolicyOptions& options);

}  // namespace Command
