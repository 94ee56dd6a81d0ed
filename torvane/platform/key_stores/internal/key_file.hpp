// Files that a key URI names: the only ones that the library itself opens.
#pragma once

#include <string>
#include <string_view>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane {

/// Whether a text is a URI of that scheme (RFC 3986, section 3.1).
bool hasScheme(std::string_view text, std::string_view scheme) noexcept;

/// The path of a "file" URI (RFC 8089); any other text is a path itself.
/// @throws KeyStoreError invalidURI
std::string pathOf(std::string_view uri);

/// The whole of a file of at most 1 MiB.
/// @throws KeyStoreError unavailable
SecretBuffer readFile(const std::string& path);

/// Makes a file that its owner alone may read, and leaves none where that fails. A file that is there stays as it is.
/// @throws KeyStoreError unavailable
void writeNewFile(const std::string& path, ByteView content);

}  // namespace Torvane
