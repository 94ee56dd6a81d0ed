#include "cli/file_uri.hpp"

#include <algorithm>
#include <charconv>

namespace Command {
namespace {

bool isFileScheme(std::string_view scheme) {
    return std::ranges::equal(scheme, std::string_view("file"), {},
                              [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
}

}  // namespace

std::string readPath(std::string_view uri) {
    constexpr std::string_view local = "//localhost/", noHost = "///";
    const auto colon = uri.find(':');
    if (colon == uri.npos || !isFileScheme(uri.substr(0, colon))) return std::string(uri);
    uri.remove_prefix(colon + 1);
    if (uri.starts_with(local)) uri.remove_prefix(local.size() - 1);
    if (uri.starts_with(noHost)) uri.remove_prefix(noHost.size() - 1);
    std::string path;
    for (std::size_t i = 0; i < uri.size(); ++i) {
        unsigned char byte{};
        const auto digits = uri.substr(i + 1, 2);
        const bool isEscape = uri[i] == '%' && digits.size() == 2 &&
                              std::from_chars(digits.data(), digits.data() + 2, byte, 16).ptr == digits.data() + 2;
        path += isEscape ? static_cast<char>(byte) : uri[i];
        if (isEscape) i += 2;
    }
    return path;
}

}  // namespace Command
