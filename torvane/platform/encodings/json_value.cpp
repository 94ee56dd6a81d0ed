#include "torvane/platform/encodings/json_value.hpp"

#include <array>
#include <charconv>
#include <ostream>

#include "torvane/platform/encodings/utf8.hpp"

namespace Torvane {
namespace {

// Prints every value without throwing: NaN, infinities, opaque values and invalid UTF-8 have forms of their own.
class Printer {
  public:
    explicit Printer(std::ostream& out) noexcept : out_(out) {}

    void operator()(std::monostate) { out_ << "null"; }
    void operator()(bool value) { out_ << (value ? "true" : "false"); }
    void operator()(std::int64_t value) { printNumber(value); }
    void operator()(double value) { printNumber(value); }
    void operator()(const std::any&) { out_ << "<opaque>"; }
    void operator()(const std::string& text) {
        const bool isText = isUTF8(asBytes(text));
        out_ << '"';
        for (const char c : text) {
            const auto byte = static_cast<unsigned char>(c);
            if (c == '"' || c == '\\') {
                out_ << '\\' << c;
            } else if (byte < 0x20 || byte == 0x7F) {
                printHex("\\u00", byte);
            } else if (byte < 0x80 || isText) {
                out_ << c;
            } else {
                printHex("\\x", byte);
            }
        }
        out_ << '"';
    }
    void operator()(const JSONValue::List& list) {
        out_ << '[';
        const char* separator = "";
        for (const auto& element : list) {
            out_ << std::exchange(separator, ",");
            element.visit(*this);
        }
        out_ << ']';
    }
    void operator()(const JSONValue::Object& object) {
        out_ << '{';
        const char* separator = "";
        for (const auto& [name, member] : object) {
            out_ << std::exchange(separator, ",");
            (*this)(name);
            out_ << ':';
            member.visit(*this);
        }
        out_ << '}';
    }

  private:
    // By hand, since the stream may be set to another base or precision, or to digits of another language.
    void printNumber(auto value) {
        std::array<char, 32> digits{};
        const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr;
        out_ << std::string_view(digits.data(), static_cast<std::size_t>(end - digits.data()));
    }

    void printHex(const char* prefix, unsigned char byte) {
        constexpr std::string_view digits = "0123456789ABCDEF";
        out_ << prefix << digits[byte >> 4] << digits[byte & 15];
    }

    std::ostream& out_;
};

}  // namespace

JSONValue JSONValue::holding(std::any opaque) {
    JSONValue value;
    value.value_ = std::move(opaque);
    return value;
}

std::optional<std::int64_t> JSONValue::wholeNumber() const noexcept {
    if (const auto* integer = as<std::int64_t>()) return *integer;
    constexpr double limit = 9223372036854775808.0;  // 2^63
    const auto* number = as<double>();
    // NaN differs from itself.
    if (number == nullptr || std::trunc(*number) != *number || *number < -limit || *number >= limit) {
        return std::nullopt;
    }
    return static_cast<std::int64_t>(*number);
}

bool operator==(const JSONValue& a, const JSONValue& b) {
    // Compared as integers, since a double does not hold every integer of 64 bits.
    if (a.as<std::int64_t>() || b.as<std::int64_t>()) return a.wholeNumber() == b.wholeNumber();
    return a.visit([&b](const auto& value) {
        using T = std::decay_t<decltype(value)>;
        if constexpr (std::same_as<T, std::any>) {
            return false;
        } else {
            const auto* other = std::get_if<T>(&b.value_);
            return other != nullptr && *other == value;
        }
    });
}

std::ostream& operator<<(std::ostream& out, const JSONValue& value) {
    value.visit(Printer(out));
    return out;
}

std::ostream& operator<<(std::ostream& out, const JSONList& list) {
    Printer{out}(list);
    return out;
}

void wipeStrings(JSONValue& value) noexcept {
    if (auto* text = value.as<std::string>()) {
        wipe(text->data(), text->size());
    } else if (auto* list = value.as<JSONValue::List>()) {
        for (auto& element : *list) wipeStrings(element);
    } else if (auto* object = value.as<JSONValue::Object>()) {
        for (auto& [name, member] : *object) wipeStrings(member);
    }
}

}  // namespace Torvane
