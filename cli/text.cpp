#include "cli/text.hpp"

#include <algorithm>
#include <array>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdio>

namespace Command {
namespace {

using Torvane::JSONValue;

class JSONWriter {
  public:
    JSONWriter(const Palette& palette, const Note& note) noexcept : palette_(palette), note_(note) {}

    void write(const JSONValue& value, std::size_t depth) {
        if (const auto* object = value.as<JSONValue::Object>()) {
            writeBlock('{', '}', *object, depth, [&](const auto& member) {
                writeColoured(palette_.name, quoted(member.first));
                text += ": ";
                write(member.second, depth + 1);
                return depth == 0 && note_ ? note_(member.first, member.second) : std::string();
            });
        } else if (const auto* list = value.as<JSONValue::List>()) {
            writeBlock('[', ']', *list, depth, [&](const auto& element) {
                write(element, depth + 1);
                return std::string();
            });
        } else if (const auto* string = value.as<std::string>()) {
            writeColoured(palette_.text, quoted(*string));
        } else {
            const auto written = Torvane::JSONSerialization::data(value);
            writeColoured(value.isNull() || value.as<bool>() ? palette_.word : palette_.number,
                          Torvane::asText(written));
        }
    }

    std::string text;

  private:
    static std::string quoted(std::string_view string) {
        return '"' + Torvane::makePrintable(string, std::string::npos, "\"\\") + '"';
    }

    void writeColoured(std::string_view colour, std::string_view what) {
        text += colour;
        text += what;
        text += palette_.off;
    }

    template <class Container, class Write>
    void writeBlock(char open, char close, const Container& elements, std::size_t depth, Write writeElement) {
        text += open;
        for (std::size_t count = 0; const auto& element : elements) {
            text.append("\n").append(2 * (depth + 1), ' ');
            const auto note = writeElement(element);
            if (++count < elements.size()) text += ',';
            if (!note.empty()) writeColoured(palette_.note, "  " + note);
        }
        if (!elements.empty()) text.append("\n").append(2 * depth, ' ');
        text += close;
    }

    const Palette& palette_;
    const Note& note_;
};

// In the largest unit of which there is a whole one: 9.99 minutes are 9 minutes, or 10 if they are to be rounded.
std::string formatDuration(double seconds, bool isRounded) {
    constexpr std::array<std::pair<double, const char*>, 5> units{
        {{365.25 * 86400, "year"}, {86400, "day"}, {3600, "hour"}, {60, "minute"}, {1, "second"}}};
    for (std::size_t i = 0; i < units.size(); ++i) {
        const auto [size, name] = units[i];
        // Rounded in the next smaller unit, 59.7 minutes are an hour.
        const auto step = i + 1 < units.size() ? units[i + 1].first : size;
        if ((isRounded ? std::round(seconds / step) * step : seconds) < size) continue;
        return formatCount(static_cast<std::size_t>(isRounded ? std::round(seconds / size) : seconds / size), name);
    }
    return "0 seconds";
}

}  // namespace

Palette Palette::colours() noexcept {
    return {"\033[34m", "\033[32m", "\033[36m", "\033[35m", "\033[1m", "\033[2m", "\033[33m", "\033[32m", "\033[0m"};
}

std::string makePrintable(std::string_view text) {
    return Torvane::makePrintable(text, std::string::npos);
}

std::string makePrintableLines(std::string_view text) {
    std::string result;
    for (std::size_t begin = 0; begin < text.size();) {
        const auto end = std::min(text.find_first_of("\n\t", begin), text.size());
        auto part = text.substr(begin, end - begin);
        if (text.substr(end).starts_with('\n') && part.ends_with('\r')) part.remove_suffix(1);
        result.append(makePrintable(part)).append(text.substr(end, 1));
        begin = end + 1;
    }
    return result;
}

std::size_t measureWidth(std::string_view text) noexcept {
    return static_cast<std::size_t>(
        std::ranges::count_if(text, [](char c) { return (static_cast<unsigned char>(c) & 0xC0U) != 0x80U; }));
}

std::string_view trim(std::string_view text) noexcept {
    constexpr std::string_view blanks = " \t\r\n";
    const auto first = text.find_first_not_of(blanks);
    return first == text.npos ? std::string_view() : text.substr(first, text.find_last_not_of(blanks) - first + 1);
}

std::string formatJSON(const JSONValue& value, const Palette& palette, const Note& note) {
    JSONWriter writer(palette, note);
    writer.write(value, 0);
    return std::move(writer.text);
}

std::string formatTable(const std::vector<std::vector<std::string>>& rows, const Palette& palette) {
    std::vector<std::size_t> widths;
    for (const auto& row : rows) {
        widths.resize(std::max(widths.size(), row.size()));
        for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], measureWidth(row[i]));
    }
    std::string text;
    for (const auto& row : rows) {
        std::string line;
        for (std::size_t i = 0; i < row.size(); ++i) {
            line += row[i];
            line.append(widths[i] - measureWidth(row[i]) + 2, ' ');
        }
        line.erase(line.find_last_not_of(' ') + 1);
        if (text.empty()) line.insert(0, palette.heading).append(palette.off);
        text.append(line).append("\n");
    }
    return text;
}

std::string formatNames(const std::vector<std::pair<std::string, std::string>>& rows, const Palette& palette) {
    std::size_t width = 0;
    for (const auto& [name, value] : rows) width = std::max(width, measureWidth(name));
    std::string text;
    for (const auto& [name, value] : rows) {
        text.append(palette.name).append(name).append(palette.off).append(width - measureWidth(name) + 2, ' ');
        text += value + '\n';
    }
    return text;
}

std::string join(const std::vector<std::string>& words) {
    std::string text;
    for (const auto& word : words) text.append(text.empty() ? "" : " ").append(word);
    return text;
}

std::string formatCount(std::size_t count, std::string_view noun) {
    return std::to_string(count) + ' ' + std::string(noun) + (count == 1 ? "" : "s");
}

std::string formatSize(std::size_t bytes) {
    constexpr std::array<const char*, 4> units{"KiB", "MiB", "GiB", "TiB"};
    if (bytes < 1024) return formatCount(bytes, "byte");
    auto size = static_cast<double>(bytes) / 1024;
    std::size_t unit = 0;
    for (; size >= 1024 && unit + 1 < units.size(); ++unit) size /= 1024;
    const auto tenths = static_cast<std::size_t>(std::lround(size * 10));
    return std::to_string(tenths / 10) + '.' + std::to_string(tenths % 10) + ' ' + units.at(unit);
}

std::string formatTime(double seconds, double now) {
    constexpr double yearZero = -62167219200, year10000 = 253402300800;
    if (!(seconds >= yearZero && seconds < year10000)) return {};
    // Not by std::time_t, which has 32 bits on some systems.
    const std::chrono::sys_seconds moment(std::chrono::seconds(static_cast<std::int64_t>(std::floor(seconds))));
    const auto day = std::chrono::floor<std::chrono::days>(moment);
    const std::chrono::year_month_day date(day);
    const std::chrono::hh_mm_ss time(moment - day);
    std::array<char, 64> text{};
    static_cast<void>(std::snprintf(
        text.data(), text.size(), "%04d-%02u-%02u %02d:%02d:%02d UTC", static_cast<int>(date.year()),
        static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()), static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count())));
    return std::string(text.data()) + (seconds > now ? " (in " + formatDuration(seconds - now, true) + ')'
                                                     : " (" + formatDuration(now - seconds, false) + " ago)");
}

std::string_view cutText(std::string_view text, std::size_t bytes) noexcept {
    if (text.size() <= bytes) return text;
    while (bytes != 0 && (static_cast<unsigned char>(text[bytes]) & 0xC0) == 0x80) --bytes;
    return text.substr(0, bytes);
}

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

std::string listNames(const std::vector<std::string>& names) {
    constexpr std::size_t most = 5;
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), most); ++i) list += (i == 0 ? "" : ", ") + names[i];
    if (names.size() > most) list += " and " + std::to_string(names.size() - most) + " more";
    return list.empty() ? "none" : list;
}

}  // namespace Command
