#include "torvane/platform/key_stores/internal/cut_pin.hpp"

#include <algorithm>
#include <iterator>

#include "torvane/platform/key_stores/key_uri.hpp"

namespace Torvane {
namespace {

// Finds a word, given in lower case, in a text in upper or lower case; npos when it is not there.
std::size_t findIgnoringCase(std::string_view text, std::string_view word) noexcept {
    const auto isSame = [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a + ('a' - 'A')) : a) == b;
    };
    const auto position = std::search(text.begin(), text.end(), word.begin(), word.end(), isSame) - text.begin();
    return position == std::ssize(text) ? text.npos : static_cast<std::size_t>(position);
}

}  // namespace

std::string_view cutPinAttribute(std::string_view text) noexcept {
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

std::string_view cutPin(std::string_view text) noexcept {
    const bool isPkcs11 = findIgnoringCase(text, "pkcs11") != text.npos;
    return cutPinAttribute(text.substr(0, text.find_first_of(isPkcs11 ? "?;&" : "?")));
}

}  // namespace Torvane
