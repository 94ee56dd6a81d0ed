#include "cli/pkcs11_uri.hpp"

#include <algorithm>
#include <string_view>
#include <torvane/torvane.hpp>

namespace Command {
namespace {

// The size of the name at the front of a text: `"label"`, `"label" with id 0a01`, `with id 0a01` or `unnamed`; or 0.
std::size_t measureName(std::string_view text) {
    constexpr std::string_view unnamed = "unnamed", withId = "with id ";
    if (text.starts_with(unnamed)) return unnamed.size();
    std::size_t size = 0;
    if (text.starts_with('"')) {
        for (size = 1; size < text.size() && text[size] != '"'; ++size) size += text[size] == '\\' ? 1 : 0;
        if (size >= text.size()) return 0;
        ++size;
    }
    const auto space = size > 0 ? std::size_t{1} : 0;
    if (!text.substr(std::min(size + space, text.size())).starts_with(withId)) return size;
    size += space + withId.size();
    return std::min(text.find_first_not_of("0123456789abcdef", size), text.size());
}

}  // namespace

bool namesObject(const std::string& uri) {
    const auto path = uri.substr(0, uri.find('?'));
    for (auto begin = path.find(':'); begin != path.npos; begin = path.find(';', begin + 1)) {
        const auto attribute = std::string_view(path).substr(begin + 1);
        if (attribute.starts_with("object=") || attribute.starts_with("id=")) return true;
    }
    return false;
}

std::string withoutQuery(const std::string& uri) {
    return Torvane::isPkcs11URI(uri) ? uri.substr(0, uri.find('?')) : uri;
}

std::string withoutPin(const std::string& uri) {
    const auto shown = withoutQuery(uri);
    if (!Torvane::isPkcs11URI(uri)) return std::string(Torvane::cutPin(shown));
    // Of a "pkcs11:" URI, cutPin() would leave the first attribute only.
    const auto attributes = shown.substr(shown.find(':') + 1);
    return Torvane::cutPin(attributes).size() == attributes.size() ? shown : std::string(Torvane::cutPin(uri));
}

std::string shortenLists(const std::string& text) {
    constexpr std::size_t most = 5;
    constexpr std::string_view begin = ": ", comma = ", ";
    std::string result = text;
    for (auto at = result.find(begin); at != result.npos; at = result.find(begin, at + 1)) {
        std::size_t count = 0, end = at + begin.size(), kept = end;
        for (auto size = measureName(std::string_view(result).substr(end)); size > 0;) {
            end += size;
            if (++count == most) kept = end;
            const auto rest = std::string_view(result).substr(end);
            size = rest.starts_with(comma) ? measureName(rest.substr(comma.size())) : 0;
            if (size > 0) end += comma.size();
        }
        if (count > most) result.replace(kept, end - kept, " and " + std::to_string(count - most) + " more");
    }
    return result;
}

}  // namespace Command
