#include "torvane/platform/key_stores/internal/cut_pin.hpp"

#include <algorithm>
#include <iterator>

#include "torvane/platform/core/internal/ascii.hpp"
#include "torvane/platform/key_stores/key_uri.hpp"

namespace Torvane {
namespace {

// Finds a word, given in lower case, in a text in upper or lower case; npos when it is not there.
std::size_t findIgnoringCase(std::string_view text, std::string_view word) noexcept {
    const auto isSame = [](char a, char b) { return toLower(a) == b; };
    const auto position = std::search(text.begin(), text.end(), word.begin(), word.end(), isSame) - text.begin();
    return position == std::ssize(text) ? text.npos : static_cast<std::size_t>(position);
}

}  // namespace

std::optional<char> decodePercent(std::string_view text) noexcept {
    constexpr std::string_view digits = "0123456789abcdef";
    if (text.size() < 3 || text[0] != '%') return std::nullopt;
    const auto high = digits.find(toLower(text[1])), low = digits.find(toLower(text[2]));
    if (high == digits.npos || low == digits.npos) return std::nullopt;
    return static_cast<char>(high * 16 + low);
}

std::string_view cutPinAttribute(std::string_view text) noexcept {
    constexpr std::string_view word = "pin", nameCharacters = "abcdefghijklmnopqrstuvwxyz0123456789-_.% ";
    std::size_t found = 0;  // so many letters of the word; all once the name contains it
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto decoded = decodePercent(text.substr(i));
        const char c = toLower(decoded.value_or(text[i]));
        if (c == '=' && found == word.size()) return text.substr(0, i);
        // An encoded character other than "=" may be a part of a name.
        if (c == '=' || (!decoded && nameCharacters.find(c) == nameCharacters.npos)) {
            found = 0;
        } else if (found < word.size()) {
            found = c == word[found] ? found + 1 : c == word[0] ? 1 : 0;
        }
        if (decoded) i += 2;
    }
    return text;
}

std::string markIfCut(std::string_view beginning, std::string_view text) {
    return std::string(beginning) + (beginning.size() < text.size() ? "..." : "");
}

std::string_view cutPin(std::string_view text) noexcept {
    const bool isPkcs11 = findIgnoringCase(text, "pkcs11") != text.npos;
    return cutPinAttribute(text.substr(0, text.find_first_of(isPkcs11 ? "?;&" : "?")));
}

}  // namespace Torvane
