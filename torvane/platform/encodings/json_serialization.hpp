// Writing and strict reading of JSON text (RFC 8259).
//
//     auto value = Torvane::JSONSerialization::jsonObject(R"({"amount": 12.5})");
//     if (auto* members = value.as<Torvane::JSONValue::Object>()) members->emplace("currency", "EUR");
//     const Torvane::ByteBuffer text = Torvane::JSONSerialization::data(value);
#pragma once

#include <cstddef>

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// Text that is not strict JSON, or a value that cannot be written as JSON.
class TORVANE_EXPORT JSONError final : public Error {
  public:
    using Error::Error;
    [[nodiscard]] std::string debugDescription() const override;
};

/// The JSON reader and writer. The reader accepts the JSON of RFC 8259, except for what jsonObject() rejects; the
/// writer makes compact text.
struct TORVANE_EXPORT JSONSerialization {
    JSONSerialization() = delete;

    /// How deep lists and objects may nest in JSON text that is read.
    static constexpr std::size_t maximumDepth = 512;

    /// Whether the value is a list or object that data() can write: numbers are finite, strings and member names are
    /// UTF-8, and nothing is opaque, at any depth.
    [[nodiscard]] static bool isValidJSONObject(const JSONValue& value);

    /// Compact JSON text in UTF-8. Members are written in the order of their names, "/" as "\/", a double that is a
    /// whole number of magnitude below 2^53 like an integer, and any other double in the shortest form that reads back
    /// as the same number. A value that nests deeper than maximumDepth is written, but jsonObject() rejects that text.
    /// @throws JSONError when a number is not finite, a string is not UTF-8, or a value is opaque, at any depth.
    [[nodiscard]] static ByteBuffer data(const JSONValue& value);

    /// @{
    /// Reads one value of any kind from UTF-8 text. A number becomes an integer when it has neither fraction nor
    /// exponent and fits std::int64_t, and a double otherwise. Applies the limits jsonDepth and jsonMembers.
    /// @throws JSONError for text that is not strict JSON, and for a byte order mark, a NUL byte, an object with two
    ///         members of one name, bytes after the value, numbers beyond the range of double, nesting beyond
    ///         maximumDepth, and text beyond the limits. The error never quotes the text.
    [[nodiscard]] static JSONValue jsonObject(ByteView text, const Limits& limits = {});
    [[nodiscard]] static JSONValue jsonObject(const TextLike auto& text, const Limits& limits = {}) {
        return jsonObject(asBytes(text), limits);
    }
    /// @}

    /// Reads text that may hold a key, as jsonObject() does. No copy of a string remains in released memory, unless the
    /// JSON text writes the string with escapes or characters outside ASCII, which is rare for the values of a key.
    [[nodiscard]] static SecretJSON secretJSONObject(ByteView text, const Limits& limits = {});
};

}  // namespace Torvane
