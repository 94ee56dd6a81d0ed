#include "cli/token_input.hpp"

#include <algorithm>
#include <filesystem>
#include <vector>

#include "cli/advice.hpp"
#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

// Letters of ASCII without regard to case.
bool startsWithWord(std::string_view text, std::string_view lowerCase) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return text.size() > lowerCase.size() && std::ranges::equal(text.substr(0, lowerCase.size()), lowerCase, {}, lower);
}

std::string_view removeScheme(std::string_view text) {
    text = trim(text);
    for (const std::string_view word : {"authorization:", "bearer "}) {
        if (startsWithWord(text, word)) text = trim(text.substr(word.size()));
    }
    return text;
}

bool isToken(std::string_view line) {
    return looksLikeToken(Torvane::asBytes(removeScheme(line)));
}

}  // namespace

std::string_view findToken(std::string_view text) {
    const auto token = removeScheme(text);
    if (token.find('\n') == token.npos) return token;
    std::vector<std::string> numbers;
    for (std::size_t begin = 0, number = 1; begin < text.size(); ++number) {
        const auto end = std::min(text.find('\n', begin), text.size());
        if (isToken(text.substr(begin, end - begin))) numbers.push_back(std::to_string(number));
        begin = end + 1;
    }
    if (numbers.size() < 2) return token;
    throw Failure(
        ExitCode::token,
        "The input has " + formatCount(numbers.size(), "token") + ", in the lines " + listNames(numbers) + '.',
        "Give one of them: sed -n " + numbers.front() + "p FILE | torvane ...");
}

Torvane::ByteBuffer readTokenOrArgument(const std::string& path) {
    std::error_code none;
    const auto token = removeScheme(path);
    if (token.starts_with("eyJ") && token.find('.') != token.npos && !std::filesystem::exists(path, none)) {
        const auto bytes = Torvane::asBytes(token);
        return {bytes.begin(), bytes.end()};
    }
    return readInput(path);
}

}  // namespace Command
