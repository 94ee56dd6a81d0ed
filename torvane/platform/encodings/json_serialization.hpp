// The JSON services: validity test, writing, and strict reading (RFC 8259).
#pragma once

#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/error.hpp"
#include "torvane/platform/encodings/json_value.hpp"

namespace Torvane {

/// JSON text that cannot be read, or a value that cannot be written.
class TORVANE_EXPORT JSONError final : public Error {
  public:
    using Error::Error;
    std::string debugDescription() const override;
};

/// Compact text out, strict text in (RFC 8259).
struct TORVANE_EXPORT JSONSerialization {
    JSONSerialization() = delete;

    /// How deep lists and objects may nest in JSON text.
    static constexpr std::size_t maximumDepth = 512;

    /// True for a list or object in which every value is JSON: finite numbers, strings in UTF-8, nothing opaque.
    static bool isValidJSONObject(const JSONValue& value);

    /// Compact text, "/" written as "\/", a double that is a whole number below 2^53 without a fraction, any
    /// other in the shortest form that reads back the same.
    /// What nests deeper than maximumDepth is written, and not read again by jsonObject().
    /// @throws JSONError for a value that is not JSON at any depth.
    static ByteBuffer data(const JSONValue& value);

    /// Reads one value of any kind. A number without fraction and exponent that fits 64 bits is an integer,
    /// any other a double.
    /// @throws JSONError for text that is not strict JSON in UTF-8: a byte order mark or NUL byte, a member given
    ///         twice, bytes after the value, nesting beyond maximumDepth, a number beyond the doubles. The
    ///         error never repeats the text.
    static JSONValue jsonObject(ByteView text);

    /// The same for text that may hold a key: no copy of a string stays behind, unless it is written with escapes
    /// or with characters outside ASCII, as no key is.
    static SecretJSON secretJSONObject(ByteView text);
};

}  // namespace Torvane
