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

std::string_view cutPinAttribute(std::string_view text) noexcept {
    constexpr std::string_view nameCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ0123456789-_.% ";
    for (std::size_t i = 0, nameBegin = 0; i < text.size(); ++i) {
        const bool isEnd = text[i] == '=' || findIgnoringCase(text.substr(i, 3), "%3d") == 0;
        if (isEnd && findIgnoringCase(text.substr(nameBegin, i - nameBegin), "pin") != text.npos) {
            return text.substr(0, i);
        }
        if (isEnd || nameCharacters.find(text[i]) == text.npos) nameBegin = i + 1;
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
