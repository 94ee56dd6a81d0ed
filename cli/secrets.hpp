// Passphrases and PINs, from a file or asked on the terminal without echo.
#pragma once

#include <string>
#include <torvane/torvane.hpp>

namespace Command {

/// Answers with the first line of the file or, if the file name is empty, asks on the terminal without echo. Returns
/// nothing if there is no terminal.
Torvane::SecretSource makeSecretSource(const std::string& secretFile);

/// The same for a new passphrase of 1 to 1024 bytes; on the terminal it is asked for twice.
/// The source throws Failure.
Torvane::SecretSource makeNewSecretSource(const std::string& secretFile);

}  // namespace Command
