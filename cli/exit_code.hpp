// How the command ends: numbers that a script can tell apart. The manual page lists them.
#pragma once

#include <exception>
#include <stdexcept>
#include <string>

namespace Command {

enum class ExitCode {
    success = 0,
    other = 1,
    /// The command line is wrong, or names an algorithm that is not known.
    usage = 2,
    /// A file cannot be read or written.
    file = 3,
    /// A key, a key set or a key store: missing, locked, malformed, or not one for the task.
    key = 4,
    /// The input is no token, or is malformed.
    token = 5,
    /// A token does not decrypt.
    decryption = 6,
    /// A signature does not verify.
    signature = 7,
};

/// What the command itself has to complain of.
class Failure : public std::runtime_error {
  public:
    Failure(ExitCode code, const std::string& text) : std::runtime_error(text), code_(code) {}
    ExitCode code() const noexcept { return code_; }

  private:
    ExitCode code_;
};

/// The exit code for what the library or the command has thrown.
ExitCode exitCodeOf(const std::exception_ptr& thrown) noexcept;

}  // namespace Command
