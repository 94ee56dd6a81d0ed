// Checks of the keys for `encode` and `decode`, before the library is called, and hints after it has failed.
#pragma once

#include <exception>
#include <string_view>
#include <torvane/torvane.hpp>

#include "cli/commands.hpp"

namespace Command {

/// The keys of a message.
struct Parties {
    Torvane::JsonWebKeySet own, peer;
};

/// @throws Failure if no key fits, or more than one.
void checkEncoding(const MessageOptions& options, const Parties& parties);

/// @throws Failure if the token's key was not given, or if `decode` does not take it.
void checkDecoding(const MessageOptions& options, const Parties& parties, std::string_view token);

/// Throws the error of a token that could not be decoded, with a hint, or a better error if what is inside the token
/// explains it.
[[noreturn]] void explainDecoding(const MessageOptions& options, const Parties& parties, std::string_view token,
                                  const std::exception_ptr& thrown);

/// A hint for an algorithm that the library does not know; empty for any other error.
std::string explainAlgorithm(const MessageOptions& options);

}  // namespace Command
