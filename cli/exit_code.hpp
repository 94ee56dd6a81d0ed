// Exit codes of the command, which scripts may rely on, and the command's own error. The manual page lists the codes.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>
#include <utility>

namespace Command {

enum class ExitCode {
    success = 0,
    other = 1,
    /// The command line is wrong, or names an unknown algorithm.
    usage = 2,
    /// A file cannot be read or written.
    file = 3,
    /// A key, key set or key store is missing, locked, malformed or unsuitable.
    key = 4,
    /// The input is not a token, or is a malformed one.
    token = 5,
    /// A token cannot be decrypted.
    decryption = 6,
    /// A signature does not verify.
    signature = 7,
    /// The signature verifies, but a policy rejects the claims.
    claims = 8,
};

/// An error of the command itself, with its exit code and perhaps a hint: one sentence on what to do.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& text, std::string hint = {})
        : std::runtime_error(text), code_(code), hint_(std::move(hint)) {}
    ExitCode code() const noexcept { return code_; }
    const std::string& hint() const noexcept { return hint_; }

  private:
    ExitCode code_;
    std::string hint_;
};

/// The exit code for an exception of the library or the command.
ExitCode chooseExitCode(const std::exception_ptr& thrown) noexcept;

/// What went wrong, in one line: of an error that wraps others, only the innermost text, without the names of the types
/// and cases around it.
std::string describeError(const std::exception_ptr& thrown);

/// The hint when there is no terminal to ask for a passphrase or PIN.
inline constexpr auto giveSecretFile = "Without a terminal, --secret-file FILE gives the passphrase or PIN.";

/// The hint of a Failure; empty for every other exception.
std::string findHint(const std::exception_ptr& thrown);

/// The exception as a Failure with the same exit code and text, and with this hint. A hint that it has already stays.
Failure addHint(const std::exception_ptr& thrown, std::string hint);

}  // namespace Command
