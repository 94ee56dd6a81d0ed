// A token and those nested in it, as far as `inspect` opened them, and the report about them.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/key_files.hpp"
#include "cli/policy_verdict.hpp"
#include "cli/token_view.hpp"

namespace Command {

/// One token of a nested token, and how far it was opened.
struct Layer {
    TokenView view;
    /// The key that decrypted or verified the token.
    std::optional<GivenKey> key{};
    std::optional<PayloadView> payload{};
    /// Set if the payload is claims.
    std::optional<PolicyVerdict> policy{};

    /// "not verified", or "decrypted with your key".
    std::string state() const;
};

/// Whether claims are signed, and all signatures were verified.
enum class ClaimsSignature { verified, unverified, missing };

struct Inspection {
    /// The layers that could be read, outermost first.
    std::vector<Layer> layers{};
    /// The error that ended the inspection.
    std::exception_ptr failure{};

    bool hasVerifiedSignature() const;
    /// Whether every layer was opened, and a signature was verified. Anybody can encrypt to a public key: only a
    /// signature shows who wrote the token.
    bool isVerified() const;
    /// Of the innermost layer, the only one that can have claims.
    ClaimsSignature findClaimsSignature() const;
};

/// Prints each layer for people.
/// @param hasPolicy whether options of the command line say what the claims must be.
/// @param now in seconds since 1970.
void printInspection(const Inspection& inspection, bool hasPolicy, double now);
/// Prints the same as JSON.
/// @param error of the whole command, if there is one.
void printInspectionJSON(const Inspection& inspection, bool hasPolicy, const std::exception_ptr& error, double now);

}  // namespace Command
