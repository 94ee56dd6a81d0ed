// Claims and policies from the command line, and why a policy rejects a token.
#pragma once

#include <string>
#include <string_view>
#include <torvane/torvane.hpp>

#include "cli/exit_code.hpp"
#include "cli/token_commands.hpp"

namespace Command {

/// The claims as JSON text, with "iat" unless the JSON of the options has it. Other options replace its claims.
/// @throws Failure
Torvane::ByteBuffer makeClaims(const ClaimOptions& options);

/// Rejects an input beside claims, with a hint for a file with claims and for an id after --jti.
/// @param role of the claims, "payload" or "message".
/// @throws Failure if there is an input.
void requireNoInput(const ClaimOptions& options, const std::string& input, std::string_view role);

/// The policy that checks what was asked for, and "exp" unless the options allow none.
/// @throws Failure
Torvane::ClaimsPolicy makePolicy(const PolicyOptions& options);

/// What was in the token, and what the policy wanted, in one line.
Failure explain(const Torvane::ClaimsError& error, Torvane::ByteView payload, const Torvane::JSONValue::Object& header,
                const PolicyOptions& options);

/// What is wrong with a payload that a policy cannot check.
Failure explainMissingClaims(Torvane::ByteView payload);

/// Says on standard error that the claims were not checked, if that is a terminal and the payload has claims.
/// @param advice says how to check them.
void warnOfUncheckedClaims(Torvane::ByteView payload, std::string_view advice);

}  // namespace Command
