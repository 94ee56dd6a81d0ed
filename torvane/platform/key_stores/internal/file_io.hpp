// Reading and writing of the small files that the library opens: keys and PINs.
#pragma once

#include <string>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Reads a whole file of at most 1 MiB. Waits for the input of a pipe, but not for a FIFO to be opened for writing.
/// @throws KeyStoreError unavailable when it cannot be read, or is longer.
SecretBuffer readFile(const std::string& path);

/// Creates a file that only its owner may read and write. When that fails, no file is left behind; an existing file is
/// never changed.
/// @throws KeyStoreError unavailable when the file exists or cannot be written.
void writeNewFile(const std::string& path, ByteView content);

}  // namespace Torvane
