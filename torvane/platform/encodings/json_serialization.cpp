#include "torvane/platform/encodings/json_serialization.hpp"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

#include <nlohmann/json.hpp>

#include "torvane/platform/encodings/utf8.hpp"

namespace Torvane {
namespace {

// Iterates over the strings in JSON text: what is between their quotes, escapes included.
class StringLiterals {
  public:
    explicit StringLiterals(ByteView text) noexcept : rest_(asText(text)) {}

    std::optional<std::string_view> next() noexcept {
        const auto quote = rest_.find('"');
        if (quote == std::string_view::npos) return std::nullopt;
        rest_.remove_prefix(quote + 1);
        std::size_t size = 0;
        while (size < rest_.size() && rest_[size] != '"') size += rest_[size] == '\\' ? 2 : 1;
        const auto literal = rest_.substr(0, size);
        rest_.remove_prefix(std::min(size + 1, rest_.size()));
        return literal;
    }

  private:
    std::string_view rest_;
};

// Whether a string equals its literal byte for byte, so that it can be taken from the text.
bool isVerbatim(std::string_view literal) noexcept {
    return std::all_of(literal.begin(), literal.end(), [](char c) { return c >= 0x20 && c < 0x7f && c != '\\'; });
}

// Builds a JSONValue from the parser's events. A stack owns the lists and objects that have not ended yet.
class ValueBuilder {
  public:
    // Where the parser reads a masked copy of the text, the strings are taken from the original.
    ValueBuilder(ByteView text, const Limits& limits, std::optional<StringLiterals> originalStrings = std::nullopt)
        : size_(text.size()),
          depth_(std::min(limits.jsonDepth, JSONSerialization::maximumDepth)),
          membersLeft_(limits.jsonMembers),
          originalStrings_(originalStrings) {}
    ~ValueBuilder() {
        // A failed read may leave parts of a key here.
        for (auto& level : open_) wipeStrings(level.container);
        wipeStrings(result_);
    }
    ValueBuilder(const ValueBuilder&) = delete;
    ValueBuilder& operator=(const ValueBuilder&) = delete;

    bool null() { return add(nullptr); }
    bool boolean(bool value) { return add(value); }
    bool number_integer(std::int64_t value) { return add(value); }
    // Called for every integer without a sign.
    bool number_unsigned(std::uint64_t value) { return add(value); }
    bool number_float(double value, const std::string&) { return add(value); }
    bool string(std::string& value) { return add(takeOriginal(value)); }
    bool binary(nlohmann::json::binary_t&) { return false; }

    bool start_object(std::size_t) { return open(JSONValue::Object()); }
    bool key(std::string& name) {
        auto& level = open_.back();
        const auto [member, inserted] = level.container.as<JSONValue::Object>()->try_emplace(takeOriginal(name));
        level.member = member;
        return inserted || reject("a member is given twice");
    }
    bool end_object() { return close(); }
    bool start_array(std::size_t) { return open(JSONValue::List()); }
    bool end_array() { return close(); }

    // The parser's own words depend on its version, and quote the text, which may be secret.
    bool parse_error(std::size_t position, const std::string&, const nlohmann::json::exception& error) {
        const bool isTooLarge = dynamic_cast<const nlohmann::json::out_of_range*>(&error) != nullptr;
        const char* why = isTooLarge ? "a number is too large" : position > size_ ? "unexpected end" : "syntax error";
        return reject(why + (" at byte " + std::to_string(position)));
    }

    JSONValue result() && { return std::move(result_); }
    [[nodiscard]] const std::string& failure() const noexcept { return failure_; }

  private:
    struct Level {
        JSONValue container;
        // The member whose value comes next, where the container is an object.
        JSONValue::Object::iterator member;
    };

    bool reject(std::string why) {
        failure_ = std::move(why);
        return false;
    }

    // The string of the original text, where the parser read a masked one.
    std::string takeOriginal(std::string& parsed) {
        const auto literal = originalStrings_ ? originalStrings_->next() : std::nullopt;
        return literal && isVerbatim(*literal) ? std::string(*literal) : std::move(parsed);
    }

    bool open(JSONValue container) {
        if (open_.size() == depth_) return reject("lists and objects nest too deep");
        open_.push_back({std::move(container), {}});
        return true;
    }

    bool close() {
        auto container = std::move(open_.back().container);
        open_.pop_back();
        return add(std::move(container));
    }

    bool add(JSONValue value) {
        if (open_.empty()) {
            result_ = std::move(value);
        } else if (membersLeft_-- == 0) {
            return reject("lists and objects have too many members");
        } else if (auto* list = open_.back().container.as<JSONValue::List>()) {
            list->push_back(std::move(value));
        } else {
            open_.back().member->second = std::move(value);
        }
        return true;
    }

    std::size_t size_;
    std::size_t depth_;
    std::size_t membersLeft_;
    std::optional<StringLiterals> originalStrings_;
    std::vector<Level> open_;
    JSONValue result_;
    std::string failure_;
};

// Characters that need no escape, and are UTF-8 by themselves.
constexpr bool isPlain(char c) noexcept {
    return c >= 0x20 && c < 0x7f && c != '"' && c != '\\' && c != '/';
}

class Writer {
  public:
    Writer() { out_.reserve(256); }

    void operator()(std::monostate) { write("null"); }
    void operator()(bool value) { write(value ? "true" : "false"); }
    void operator()(std::int64_t value) { writeNumber(value); }
    void operator()(double value) {
        constexpr double exactIntegers = 9007199254740992.0;  // 2^53
        if (!std::isfinite(value)) throw JSONError("A number that is not finite cannot be written as JSON.");
        if (std::trunc(value) == value && std::abs(value) < exactIntegers) {
            writeNumber(static_cast<std::int64_t>(value));
        } else {
            writeNumber(value);
        }
    }
    void operator()(const std::string& text) {
        const bool isAllPlain = std::all_of(text.begin(), text.end(), isPlain);
        if (!isAllPlain && !isUTF8(asBytes(text))) {
            throw JSONError("A string that is not UTF-8 cannot be written as JSON.");
        }
        out_.push_back('"');
        if (isAllPlain) {
            write(text);
        } else {
            for (const char c : text) writeEscaped(c);
        }
        out_.push_back('"');
    }
    void operator()(const JSONValue::List& list) {
        out_.push_back('[');
        bool isFirst = true;
        for (const auto& value : list) {
            if (!std::exchange(isFirst, false)) out_.push_back(',');
            value.visit(*this);
        }
        out_.push_back(']');
    }
    void operator()(const JSONValue::Object& object) {
        out_.push_back('{');
        bool isFirst = true;
        for (const auto& [name, value] : object) {
            if (!std::exchange(isFirst, false)) out_.push_back(',');
            (*this)(name);
            out_.push_back(':');
            value.visit(*this);
        }
        out_.push_back('}');
    }
    void operator()(const std::any&) { throw JSONError("A value that is not JSON cannot be written as JSON."); }

    ByteBuffer result() && { return std::move(out_); }

  private:
    void write(std::string_view text) { out_.insert(out_.end(), text.begin(), text.end()); }

    void writeEscaped(char c) {
        constexpr std::string_view escaped = "\"\\/\b\f\n\r\t", letters = "\"\\/bfnrt", digits = "0123456789abcdef";
        if (const auto at = escaped.find(c); at != std::string_view::npos) {
            out_.push_back('\\');
            out_.push_back(static_cast<std::uint8_t>(letters[at]));
        } else if (const auto byte = static_cast<unsigned char>(c); byte < 0x20) {
            write("\\u00");
            out_.push_back(static_cast<std::uint8_t>(digits[byte >> 4U]));
            out_.push_back(static_cast<std::uint8_t>(digits[byte & 15U]));
        } else {
            out_.push_back(byte);
        }
    }

    void writeNumber(auto value) {
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        write({digits.data(), static_cast<std::size_t>(end - digits.data())});
    }

    ByteBuffer out_;
};

struct IsJSON {
    bool operator()(double value) const { return std::isfinite(value); }
    bool operator()(const std::string& text) const { return isUTF8(asBytes(text)); }
    bool operator()(const JSONValue::List& list) const {
        return std::all_of(list.begin(), list.end(), [this](const JSONValue& value) { return value.visit(*this); });
    }
    bool operator()(const JSONValue::Object& object) const {
        return std::all_of(object.begin(), object.end(),
                           [this](const auto& member) { return (*this)(member.first) && member.second.visit(*this); });
    }
    bool operator()(const std::any&) const { return false; }
    template <class T>
    bool operator()(const T&) const {
        return true;
    }
};

}  // namespace

std::string JSONError::debugDescription() const {
    return "JSONError(" + debugQuoted(errorDescription()) + ")";
}

bool JSONSerialization::isValidJSONObject(const JSONValue& value) {
    return (value.as<JSONValue::List>() || value.as<JSONValue::Object>()) && value.visit(IsJSON());
}

ByteBuffer JSONSerialization::data(const JSONValue& value) {
    Writer writer;
    value.visit(writer);
    return std::move(writer).result();
}

namespace {

JSONValue read(ByteView text, ValueBuilder& builder) {
    // The parser skips a byte order mark and treats a NUL byte as the end of its input.
    if (text.size() >= 3 && text[0] == 0xEF && text[1] == 0xBB && text[2] == 0xBF) {
        throw JSONError("The text is not JSON: it starts with a byte order mark.");
    }
    if (asText(text).find('\0') != std::string_view::npos) {
        throw JSONError("The text is not JSON: it holds a NUL byte.");
    }
    if (!nlohmann::json::sax_parse(text.begin(), text.end(), &builder)) {
        throw JSONError("The text is not JSON: " + builder.failure() + ".");
    }
    return std::move(builder).result();
}

}  // namespace

JSONValue JSONSerialization::jsonObject(ByteView text, const Limits& limits) {
    ValueBuilder builder(text, limits);
    return read(text, builder);
}

SecretJSON JSONSerialization::secretJSONObject(ByteView text, const Limits& limits) {
    // The parser leaves copies of strings in freed memory, so it reads a copy whose strings are masked.
    SecretBuffer masked(text.begin(), text.end());
    StringLiterals literals(text);
    while (const auto literal = literals.next()) {
        const auto offset = reinterpret_cast<const std::uint8_t*>(literal->data()) - text.data();
        if (isVerbatim(*literal)) std::fill_n(masked.begin() + offset, literal->size(), 'x');
    }
    ValueBuilder builder(masked, limits, StringLiterals(text));
    return SecretJSON(read(masked, builder));
}

}  // namespace Torvane
