// Files and standard streams, whole.
#pragma once

#include <string>
#include <torvane/platform/core/bytes.hpp>

namespace Command {

/// Puts something that fails where a standard stream is closed, so that no file is taken for it.
void holdStandardStreams();

/// A file, or standard input for "-" and for no name; that can be read once.
/// @throws Failure
Torvane::ByteBuffer readInput(const std::string& path);

/// A file of at most 64 KiB that holds a secret.
/// @throws Failure
Torvane::SecretBuffer readSecretFile(const std::string& path);

/// To a file, or to standard output for "-" and for no name. A file is replaced when all is written, with the mode that
/// it had, and is else as it was; a link, device or pipe is written to.
/// @throws Failure
void writeOutput(const std::string& path, Torvane::ByteView content);

}  // namespace Command
