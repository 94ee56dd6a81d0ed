// Additional header parameters from the command line.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

namespace Command {

/// Reads texts of the form NAME=VALUE. "alg", "enc" and "kid" are rejected: other options set them.
/// @throws Failure
Torvane::StringMap parseHeaders(const std::vector<std::string>& texts);

/// The same, and "typ" from an option of its own, which may be empty.
/// @throws Failure
Torvane::StringMap parseHeaders(const std::vector<std::string>& texts, const std::string& type);

/// Makes a token of `size` bytes with a progress line, and reports a header parameter that the library rejects.
/// @throws Failure; what a key store throws.
Torvane::ByteBuffer makeToken(std::string_view verb, std::size_t size,
                              const std::function<Torvane::ByteBuffer()>& make);

}  // namespace Command
