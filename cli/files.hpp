// Reading and writing of whole files and standard streams.
#pragma once

#include <string>
#include <torvane/torvane.hpp>

namespace Command {

/// Reads a file, or standard input if the path is empty or "-". Standard input can be read once.
/// @throws Failure
Torvane::ByteBuffer readInput(const std::string& path);

/// Takes standard input for one reader.
/// @throws Failure the second time.
void claimStandardInput();

/// The file's name in quotes, or "standard input" if the path is empty or "-".
std::string nameInput(const std::string& path);

/// Reads a file of at most 64 KiB that holds a secret.
/// @throws Failure
Torvane::SecretBuffer readSecretFile(const std::string& path);

/// Reads a file of at most 16 MiB with keys, or standard input if the path is "-".
/// @throws Failure
Torvane::SecretBuffer readKeyFile(const std::string& path);

/// What happens to a file that holds a private key when it is an output.
enum class KeyFiles { keep, replace };

/// Writes a file, or standard output if the path is empty or "-". An existing file keeps its mode; it is replaced once
/// all content is written, and stays as it was after a failure. So does the file that a link leads to. A new file with
/// a private key is readable by its owner only. Devices and pipes are written to. A terminal gets the content as by
/// makePrintableLines() and a newline at the end, everything else the exact bytes.
/// @throws Failure, also if the path names a file with a private key that is to be kept.
void writeOutput(const std::string& path, Torvane::ByteView content, KeyFiles keyFiles = KeyFiles::keep);

/// Rejects an output that writeOutput() would reject, as far as that shows before anything is written.
/// @throws Failure
void checkOutput(const std::string& path, KeyFiles keyFiles = KeyFiles::keep);

}  // namespace Command
