// What a file contains, for errors about a file of another kind than the one that is needed.
#pragma once

#include <string>
#include <string_view>
#include <torvane/torvane.hpp>

namespace Command {

enum class FileKind {
    /// Nothing, or only white space.
    empty,
    /// A compact token.
    token,
    /// A JWS or JWE in JSON serialization (RFC 7515, section 7.2; RFC 7516, section 7.2).
    jsonToken,
    jwk,
    set,
    /// Another JSON object or list.
    json,
    pem,
    /// A key, a certificate or a PKCS #12 file.
    der,
    other,
};

/// Recognises a file by what it begins with and by the names in its JSON, which may be malformed.
FileKind recogniseFile(Torvane::ByteView content);

/// "is empty", "is a token", "is a PEM file"; empty for other files.
std::string_view describeFile(FileKind kind) noexcept;

/// Explains an input in which there is no compact token: that it is empty or another kind of file, or what stands
/// around a token.
/// @param text without the white space at either end.
/// @throws Failure; nothing if the text may be a token, well-formed or not.
void requireTokenText(std::string_view text);

/// The hint for a token that only white space between its characters makes malformed; empty for any other text.
std::string hintAtLineBreaks(std::string_view token);

/// Explains the URL of a web page where a file or a key is expected.
/// @throws Failure if the path is one.
void rejectURL(const std::string& path);

}  // namespace Command
