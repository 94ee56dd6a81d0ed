// Output for people: JSON, tables, sizes and times, with hostile characters escaped.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <utility>
#include <vector>

namespace Command {

/// Terminal escape sequences for colours; all empty for output without colours.
struct Palette {
    std::string_view name, text, number, word, heading, note, warning, good, off;

    static Palette none() noexcept { return {}; }
    static Palette colours() noexcept;
};

/// The text with control characters, characters that change the writing direction, and bytes that are not UTF-8
/// escaped, so that a terminal cannot act on them.
std::string makePrintable(std::string_view text);

/// The same, but tabs and line breaks stay; a carriage return before a line break is left out.
std::string makePrintableLines(std::string_view text);

/// Columns on the terminal, approximately: combining and wide characters are rare in key ids.
std::size_t measureWidth(std::string_view text) noexcept;

/// The text without white space at either end.
std::string_view trim(std::string_view text) noexcept;

/// The words with spaces between them.
std::string join(const std::vector<std::string>& words);

/// The beginning of a UTF-8 text, of whole characters and at most so many bytes.
std::string_view cutText(std::string_view text, std::size_t bytes) noexcept;

/// A text for an error, in double quotes.
std::string inQuotes(std::string_view text);

/// Names for an error: "a, b"; of more than five, the first five and "7 more"; "none" of none.
std::string listNames(const std::vector<std::string>& names);

/// The note to print beside a member of the outermost object; empty for none.
using Note = std::function<std::string(const std::string& name, const Torvane::JSONValue& value)>;

/// JSON over several lines, indented by two spaces, its strings escaped as by makePrintable(). With notes, the text is
/// no longer JSON.
std::string formatJSON(const Torvane::JSONValue& value, const Palette& palette = Palette::none(),
                       const Note& note = {});

/// Rows as columns with two spaces between them; the first row is the heading.
std::string formatTable(const std::vector<std::vector<std::string>>& rows, const Palette& palette);

/// A name and a value per line, as two columns.
std::string formatNames(const std::vector<std::pair<std::string, std::string>>& rows, const Palette& palette);

/// "1 byte", "17 bytes".
std::string formatCount(std::size_t count, std::string_view noun);

/// "12.3 MiB"; whole bytes below 1 KiB.
std::string formatSize(std::size_t bytes);

/// Seconds since 1970 as "2026-11-21 17:20:00 UTC (in 5 minutes)"; empty for years before 0000 or after 9999.
std::string formatTime(double seconds, double now);

}  // namespace Command
