// Random JSON values for tests that hold for all of them.
#pragma once

#include <bit>
#include <cmath>
#include <cstdint>
#include <random>
#include <string>

#include "torvane/platform/services/json_value.hpp"

namespace Testing {

class RandomJSON {
  public:
    explicit RandomJSON(std::uint64_t seed) : random_(seed) {}

    /// A value whose lists and objects nest at most so deep.
    Platform::JSONValue value(unsigned depth) {
        switch (below(depth == 0 ? 6 : 9)) {
            case 0: return nullptr;
            case 1: return below(2) == 0;
            case 2: return static_cast<std::int64_t>(random_() >> below(64));
            case 3: return number(std::bit_cast<double>(random_()));
            case 4: return edge();
            case 5: return text();
            case 6: return list(depth);
            default: return object(depth);
        }
    }

    Platform::JSONValue::Object object(unsigned depth) {
        Platform::JSONValue::Object members;
        for (auto count = below(5); count > 0; --count) members.insert_or_assign(text(), value(depth - 1));
        return members;
    }

    /// Characters of one to four bytes from all of Unicode, the ones that JSON escapes among them.
    std::string text() {
        std::string result;
        for (auto count = below(12); count > 0; --count) append(result, character());
        return result;
    }

  private:
    std::uint64_t below(std::uint64_t limit) { return random_() % limit; }

    Platform::JSONValue::List list(unsigned depth) {
        Platform::JSONValue::List elements;
        for (auto count = below(5); count > 0; --count) elements.push_back(value(depth - 1));
        return elements;
    }

    // A double as it reads back: one that an integer can hold is an integer in JSON text.
    static Platform::JSONValue number(double value) {
        if (!std::isfinite(value)) return nullptr;
        if (std::trunc(value) == value && value >= -0x1p63 && value < 0x1p63) return static_cast<std::int64_t>(value);
        return value;
    }

    // A power of two, or a number next to it.
    Platform::JSONValue edge() {
        if (below(2) == 0) return static_cast<std::int64_t>((std::uint64_t{1} << below(64)) + below(3) - 1);
        const double power = std::ldexp(below(2) == 0 ? 1 : -1, static_cast<int>(below(2099)) - 1074);
        return number(std::nextafter(power, power * static_cast<double>(below(3))));
    }

    char32_t character() {
        switch (below(6)) {
            case 0: return static_cast<char32_t>(below(0x20));
            case 1: return U"\"\\/\u007f\u0080\u2028\u2029\ufeff\uffff\U0010ffff"[below(10)];
            case 2: return static_cast<char32_t>(0x10000 + below(0x100000));
            case 3: {  // but the surrogates
                const auto c = below(0xF800);
                return static_cast<char32_t>(c < 0xD800 ? c : c + 0x800);
            }
            default: return static_cast<char32_t>(' ' + below(0x5f));
        }
    }

    static void append(std::string& out, char32_t c) {
        const auto tail = [&](int shift) { out += static_cast<char>(0x80 | (c >> shift & 0x3f)); };
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xc0 | c >> 6);
        } else if (c < 0x10000) {
            out += static_cast<char>(0xe0 | c >> 12);
            tail(6);
        } else {
            out += static_cast<char>(0xf0 | c >> 18);
            tail(12);
            tail(6);
        }
        if (c >= 0x80) tail(0);
    }

    std::mt19937_64 random_;
};

}  // namespace Testing
