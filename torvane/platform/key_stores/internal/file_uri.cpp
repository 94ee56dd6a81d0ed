#include "torvane/platform/key_stores/internal/file_uri.hpp"

#include <algorithm>
#include <optional>
#include <utility>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/internal/ascii.hpp"
#include "torvane/platform/key_stores/internal/cut_pin.hpp"
#include "torvane/platform/key_stores/key_uri.hpp"

namespace Torvane {
namespace {

// Returns nothing when the percent-encoding is wrong, or for a query, a fragment or a NUL byte.
std::optional<std::string> decodePath(std::string_view text) {
    std::string decoded;
    for (std::size_t i = 0; i < text.size(); ++i) {
        char c = text[i];
        if (c == '?' || c == '#') return std::nullopt;
        if (c == '%') {
            const auto character = decodePercent(text.substr(i));
            if (!character) return std::nullopt;
            c = *character;
            i += 2;
        }
        if (c == '\0') return std::nullopt;
        decoded += c;
    }
    return decoded;
}

}  // namespace

bool hasScheme(std::string_view text, std::string_view scheme) noexcept {
    return text.size() > scheme.size() && text[scheme.size()] == ':' &&
           std::equal(scheme.begin(), scheme.end(), text.begin(), [](char a, char b) { return a == toLower(b); });
}

std::string readPath(std::string_view uri) {
    const auto reject = [&] {
        throw KeyStoreError::invalidURI(quoteWithoutPin(uri) +
                                        " is neither a path nor the URI of a file on this machine.");
    };
    if (uri.find('\0') != uri.npos) reject();
    if (!hasScheme(uri, "file")) return std::string(uri);
    auto rest = uri.substr(std::string_view("file:").size());
    for (const std::string_view thisHost : {"//localhost/", "///"}) {
        if (rest.starts_with(thisHost)) rest.remove_prefix(thisHost.size() - 1);
    }
    auto path = decodePath(rest);
    if (!path || path->empty() || rest.starts_with("//")) reject();
    return std::move(*path);
}

std::string quoteWithoutPin(std::string_view uri) {
    return debugQuoted(markIfCut(cutPin(uri), uri));
}

}  // namespace Torvane
