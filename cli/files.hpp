// Files and standard streams, whole.
#pragma once

#include <string>
#include <torvane/platform/bytes.hpp>

namespace Command {

/// A file, or standard input for "-" and for no name.
/// @throws Failure
Platform::ByteBuffer readInput(const std::string& path);

/// A small file that holds a secret.
/// @throws Failure
Platform::SecretBuffer readSecretFile(const std::string& path);

/// To a file, or to standard output for "-" and for no name. Where it fails, a new file is not left behind.
/// @throws Failure
void writeOutput(const std::string& path, Platform::ByteView content);

}  // namespace Command
