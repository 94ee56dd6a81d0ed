// Paths, URIs and arguments for errors, without anything that may be a PIN. The command includes this header too, so
// its functions are inline.
#pragma once

#include <algorithm>
#include <string_view>

namespace Torvane {

/// Finds a word, given in lower case, in a text in upper or lower case; npos when it is not there.
inline std::size_t findIgnoringCase(std::string_view text, std::string_view word) noexcept {
    const auto found = std::search(text.begin(), text.end(), word.begin(), word.end(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a + ('a' - 'A')) : a) == b;
    });
    return found == text.end() ? text.npos : static_cast<std::size_t>(found - text.begin());
}

/// The text before the first "=", or "%3D", that follows a name with "pin" in it, for example "pin-value" or "PIN".
inline std::string_view cutPinAttribute(std::string_view text) noexcept {
    constexpr std::string_view nameCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.% ";
    for (std::size_t begin = 0; begin < text.size();) {
        const auto rest = text.substr(begin);
        const auto end = std::min({rest.find('='), findIgnoringCase(rest, "%3d"), rest.size()});
        if (end == rest.size()) break;
        const auto beforeName = rest.substr(0, end).find_last_not_of(nameCharacters);
        const auto name = rest.substr(beforeName + 1, end - beforeName - 1);  // npos + 1 is 0
        if (findIgnoringCase(name, "pin") != name.npos) return text.substr(0, begin + end);
        begin += end + 1;
    }
    return text;
}

/// A path, URI or argument before anything that may be a PIN: it is cut as by cutPinAttribute(), at the first "?", and
/// where the text contains "pkcs11", in upper or lower case, also at the first ";" and "&". A PKCS #11 URI after a
/// blank is taken for a path and has to be cut too.
inline std::string_view cutPin(std::string_view text) noexcept {
    const bool isPkcs11 = findIgnoringCase(text, "pkcs11") != text.npos;
    return cutPinAttribute(text.substr(0, text.find_first_of(isPkcs11 ? "?;&" : "?")));
}

}  // namespace Torvane
