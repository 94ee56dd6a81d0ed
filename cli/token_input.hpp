// Tokens as people pass them on: in a file or an argument, after "Bearer", with line breaks around them.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>

namespace Command {

/// The one token in a text, without white space around it and without "Authorization:" and "Bearer" before it. Any
/// other text is returned without the white space. A line other than 0 chooses, by number from 1, among several tokens.
/// @throws Failure if the line has no token, or if several lines hold a token each and none is chosen.
std::string_view findToken(std::string_view text, std::size_t line);

/// Reads a file, or standard input if the path is empty or "-". A path that begins like a token, of which there is no
/// file, is the token itself.
/// @throws Failure
Torvane::ByteBuffer readTokenOrArgument(const std::string& path);

}  // namespace Command
