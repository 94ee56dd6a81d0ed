#include "cli/hide_pins.hpp"

#include <algorithm>
#include <string_view>
#include <torvane/torvane.hpp>

namespace Command {
namespace {

bool isPinOption(std::string_view argument) {
    constexpr std::string_view withoutValue = "--last-pin-try";
    return argument.starts_with('-') && argument != withoutValue && argument.find('=') == argument.npos &&
           Torvane::cutPin(std::string(argument) + '=').size() == argument.size();
}

void replaceAll(std::string& text, std::string_view from, std::string_view to) {
    for (auto at = text.find(from); at != text.npos; at = text.find(from, at + to.size())) {
        text.replace(at, from.size(), to);
    }
}

// The parts of the arguments that may hold a PIN.
std::vector<std::string> findSecrets(const std::vector<std::string>& arguments) {
    std::vector<std::string> secrets;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const bool isPin = i > 0 && isPinOption(arguments[i - 1]);
        auto secret = isPin ? arguments[i] : arguments[i].substr(Torvane::cutPin(arguments[i]).size());
        if (secret.size() < (isPin ? 1 : 2)) continue;  // one character only begins a PIN
        // Errors of the library quote what they show.
        auto quoted = Torvane::debugQuoted(secret);
        secrets.push_back(quoted.substr(1, quoted.size() - 2));
        secrets.push_back(std::move(secret));
    }
    // One secret may contain another.
    std::ranges::stable_sort(secrets, std::greater(), &std::string::size);
    return secrets;
}

}  // namespace

std::string hidePins(std::string text, const std::vector<std::string>& arguments) {
    for (const auto& secret : findSecrets(arguments)) replaceAll(text, secret, "...");
    return text;
}

}  // namespace Command
