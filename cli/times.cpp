#include "cli/times.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include "cli/exit_code.hpp"

namespace Command {
namespace {

constexpr std::int64_t longestDuration = std::int64_t{36525} * 86400;
// Smaller numbers, before September 2001, are durations without a unit rather than times.
constexpr std::int64_t smallestTime = 1'000'000'000;
// The end of the year 9999.
constexpr std::int64_t largestTime = 253'402'300'799;

[[noreturn]] void reject(std::string_view option, const std::string& text, const char* expected) {
    throw Failure(ExitCode::usage, std::string(option) + " \"" + text + "\": " + expected);
}

// Consumes a number of so many digits.
std::optional<int> takeDigits(std::string_view& text, std::size_t count) {
    int number = 0;
    if (text.size() < count || text.substr(0, count).find_first_not_of("0123456789") != text.npos) return std::nullopt;
    std::from_chars(text.data(), text.data() + count, number);
    text.remove_prefix(count);
    return number;
}

bool take(std::string_view& text, char expected) {
    if (!text.starts_with(expected)) return false;
    text.remove_prefix(1);
    return true;
}

std::optional<std::int64_t> readNumber(std::string_view text) {
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
    return number;
}

// The unit at the front of a text, in seconds; nothing if there is none.
std::optional<std::int64_t> takeUnit(std::string_view& text) {
    struct Unit {
        std::string_view name;
        std::int64_t seconds;
    };
    // Longer names before those that they begin with.
    constexpr std::array<Unit, 23> units{
        {{"seconds", 1},    {"second", 1},    {"secs", 1},     {"sec", 1},      {"s", 1},        {"minutes", 60},
         {"minute", 60},    {"mins", 60},     {"min", 60},     {"m", 60},       {"hours", 3600}, {"hour", 3600},
         {"hrs", 3600},     {"hr", 3600},     {"h", 3600},     {"days", 86400}, {"day", 86400},  {"d", 86400},
         {"weeks", 604800}, {"week", 604800}, {"wks", 604800}, {"wk", 604800},  {"w", 604800}}};
    const auto* const unit = std::ranges::find_if(units, [&](const Unit& each) { return text.starts_with(each.name); });
    if (unit == units.end()) return std::nullopt;
    text.remove_prefix(unit->name.size());
    return unit->seconds;
}

// Numbers with a unit each: "90s", "1h30m", "10 min".
std::optional<std::int64_t> readDuration(std::string_view text) {
    const bool isNegative = take(text, '-');
    if (text.empty()) return std::nullopt;
    std::int64_t sum = 0;
    while (!text.empty()) {
        const auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
        const auto count = readNumber(text.substr(0, digits));
        text.remove_prefix(digits);
        while (take(text, ' ')) {
        }
        const auto size = count ? takeUnit(text) : std::nullopt;
        if (!size || *count > (longestDuration - sum) / *size) return std::nullopt;
        sum += *count * *size;
        while (take(text, ' ')) {
        }
    }
    return isNegative ? -sum : sum;
}

// Seconds east of UTC, from "Z" or an offset.
std::optional<int> takeOffset(std::string_view& text) {
    if (take(text, 'Z') || take(text, 'z')) return 0;
    const int sign = text.starts_with('-') ? -1 : 1;
    if (!take(text, '-') && !take(text, '+')) return std::nullopt;
    const auto hours = takeDigits(text, 2);
    if (!hours || !take(text, ':')) return std::nullopt;
    const auto minutes = takeDigits(text, 2);
    if (!minutes || *hours > 23 || *minutes > 59) return std::nullopt;
    return sign * (*hours * 3600 + *minutes * 60);
}

// The time of day, in whole seconds of UTC.
std::optional<int> takeTimeOfDay(std::string_view& text) {
    const auto hours = takeDigits(text, 2);
    if (!hours || !take(text, ':')) return std::nullopt;
    const auto minutes = takeDigits(text, 2);
    const auto seconds = take(text, ':') ? takeDigits(text, 2) : 0;
    if (take(text, '.')) text.remove_prefix(std::min(text.find_first_not_of("0123456789"), text.size()));
    if (!minutes || !seconds || *hours > 23 || *minutes > 59 || *seconds > 59) return std::nullopt;
    const auto offset = takeOffset(text);
    if (!offset) return std::nullopt;
    return *hours * 3600 + *minutes * 60 + *seconds - *offset;
}

std::optional<std::int64_t> readDate(std::string_view text) {
    const auto year = takeDigits(text, 4);
    if (!year || !take(text, '-')) return std::nullopt;
    const auto month = takeDigits(text, 2);
    if (!month || !take(text, '-')) return std::nullopt;
    const auto day = takeDigits(text, 2);
    if (!day) return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(*year), std::chrono::month(static_cast<unsigned>(*month)),
                                           std::chrono::day(static_cast<unsigned>(*day))};
    if (!date.ok()) return std::nullopt;
    const std::int64_t midnight = std::chrono::sys_days(date).time_since_epoch().count() * std::int64_t{86400};
    if (text.empty()) return midnight;
    if (!take(text, 'T') && !take(text, 't') && !take(text, ' ')) return std::nullopt;
    const auto time = takeTimeOfDay(text);
    if (!time || !text.empty()) return std::nullopt;
    return midnight + *time;
}

}  // namespace

std::chrono::seconds parseDuration(std::string_view option, const std::string& text) {
    const auto duration = readDuration(text);
    if (!duration) reject(option, text, "write a duration such as 30s, 10m, 1h30m, 2d or 1w.");
    return std::chrono::seconds(*duration);
}

std::int64_t parseTime(std::string_view option, const std::string& text, double now) {
    if (const auto duration = readDuration(text)) return static_cast<std::int64_t>(std::floor(now)) + *duration;
    if (const auto date = readDate(text)) return *date;
    if (const auto number = readNumber(text)) {
        if (*number >= smallestTime && *number <= largestTime) return *number;
        reject(option, text, "is this a duration? Give its unit: s, m, h, d or w.");
    }
    reject(option, text, "write a duration such as 10m, a date such as 2026-12-01, or 2026-12-01T10:00:00Z.");
}

}  // namespace Command
