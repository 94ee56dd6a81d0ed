#include "cli/token_input.hpp"

#include <algorithm>
#include <filesystem>
#include <utility>
#include <vector>

#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/files.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

// Tokens with the numbers of their lines.
using TokenLines = std::vector<std::pair<std::size_t, std::string_view>>;

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

// The lines that are tokens, by number.
TokenLines listTokens(std::string_view text) {
    TokenLines tokens;
    for (std::size_t begin = 0, number = 1; begin < text.size(); ++number) {
        const auto end = std::min(text.find('\n', begin), text.size());
        const auto line = removeScheme(text.substr(begin, end - begin));
        if (looksLikeToken(Torvane::asBytes(line))) tokens.emplace_back(number, line);
        begin = end + 1;
    }
    return tokens;
}

std::string nameLines(const TokenLines& tokens) {
    std::vector<std::string> numbers;
    for (const auto& token : tokens) numbers.push_back(std::to_string(token.first));
    return listNames(numbers);
}

std::string_view findOnlyToken(std::string_view text) {
    const auto token = removeScheme(text);
    const auto tokens = token.find('\n') == token.npos ? TokenLines() : listTokens(text);
    if (tokens.size() < 2) {
        requireTokenText(token);
        return token;
    }
    throw Failure(ExitCode::token,
                  "The input has " + formatCount(tokens.size(), "token") + ", in the lines " + nameLines(tokens) + '.',
                  "Choose one of them, as in --line " + std::to_string(tokens.front().first) + '.');
}

}  // namespace

std::string_view findToken(std::string_view text, std::size_t line) {
    if (line == 0) return findOnlyToken(text);
    const auto tokens = listTokens(text);
    const auto chosen = std::ranges::find(tokens, line, [](const auto& token) { return token.first; });
    if (chosen != tokens.end()) return chosen->second;
    throw Failure(ExitCode::token,
                  "Line " + std::to_string(line) + " has no token. Lines with tokens: " + nameLines(tokens) + '.');
}

Torvane::ByteBuffer readTokenOrArgument(const std::string& path) {
    std::error_code none;
    const auto token = removeScheme(path);
    if (((token.starts_with("eyJ") && token.find('.') != token.npos) || looksLikeToken(Torvane::asBytes(token))) &&
        !std::filesystem::exists(path, none)) {
        const auto bytes = Torvane::asBytes(token);
        return {bytes.begin(), bytes.end()};
    }
    return readInput(path);
}

}  // namespace Command
