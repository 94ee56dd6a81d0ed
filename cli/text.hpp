// Text for people: nothing that a stranger wrote is printed in a way that a terminal could act on.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <torvane/platform/encodings/json_value.hpp>
#include <utility>
#include <vector>

namespace Command {

/// The colours of a terminal, or none.
struct Palette {
    std::string_view name, text, number, word, heading, note, warning, good, off;

    static Palette none() noexcept { return {}; }
    static Palette colours() noexcept;
};

/// The text with control characters, those that turn the writing direction, and what is not UTF-8 as escapes.
std::string printable(std::string_view text);

/// What is said beside a member of the outermost object; nothing to most.
using Note = std::function<std::string(const std::string& name, const Torvane::JSONValue& value)>;

/// Without the blanks and line ends around it.
std::string_view trimmed(std::string_view text) noexcept;

/// JSON text over several lines, indented by two blanks; control characters as above. With notes it is for people only.
std::string indentedJSON(const Torvane::JSONValue& value, const Palette& palette = Palette::none(),
                         const Note& note = {});

/// Rows as columns, two blanks between them; the first row is the heading.
std::string table(const std::vector<std::vector<std::string>>& rows, const Palette& palette);

/// Names and values, one a line, as two columns.
std::string nameList(const std::vector<std::pair<std::string, std::string>>& rows, const Palette& palette);

/// The words with blanks between them.
std::string joined(const std::vector<std::string>& words);

/// "1 byte", "17 bytes".
std::string counted(std::size_t count, std::string_view noun);

/// "12.3 MiB"; bytes below one KiB.
std::string humanSize(std::size_t bytes);

/// Seconds since 1970 as "2026-11-21 17:20:00 UTC (in 5 minutes)"; empty for a year that is not of four digits.
std::string humanTime(double seconds, double now);

}  // namespace Command
