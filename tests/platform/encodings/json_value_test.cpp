#include "torvane/platform/encodings/json_value.hpp"

#include <cmath>
#include <iomanip>
#include <limits>
#include <sstream>
#include <unordered_map>

#include <gtest/gtest.h>

#include "torvane/torvane.hpp"

namespace {

using namespace Torvane;
using List = JSONValue::List;
using Object = JSONValue::Object;

enum class Kind { a };

// What a value is converted to is not also held as it is.
static_assert(!OpaqueType<int> && !OpaqueType<float> && !OpaqueType<std::uint64_t> && !OpaqueType<bool>);
static_assert(!OpaqueType<const char*> && !OpaqueType<std::string_view> && !OpaqueType<std::vector<int>>);
static_assert(!OpaqueType<StringMap> && !OpaqueType<JSONValue> && !OpaqueType<std::any> && !OpaqueType<const Kind>);

constexpr double infinity = std::numeric_limits<double>::infinity();
constexpr double two53 = 9007199254740992.0, two63 = 9223372036854775808.0;
constexpr std::int64_t integer53 = std::int64_t{1} << 53;

std::string shown(const auto& value) {
    std::ostringstream out;
    out << std::hex << std::setprecision(2) << std::showpos << value;
    return out.str();
}

TEST(JSONValue, IntegerEqualsOnlyTheSameDouble) {
    struct Row {
        JSONValue a, b;
        bool equal;
    };
    const std::vector<Row> rows{
        {1, 1.0, true},
        {1, 1.5, false},
        {-1, 1.0, false},
        {0, -0.0, true},
        {0.0, -0.0, true},
        {integer53, two53, true},
        {integer53 - 1, two53, false},
        {integer53 + 1, two53, false},
        {integer53 + 2, two53 + 2, true},
        {-integer53, -two53, true},
        {-integer53 + 1, -two53, false},
        {-integer53 - 1, -two53, false},
        {INT64_MAX, two63, false},
        {INT64_MAX, INT64_MAX - 1, false},
        {INT64_MIN, -two63, true},
        {INT64_MIN + 1, -two63, false},
        {INT64_MAX, 1e300, false},
        {INT64_MIN, -1e300, false},
        {INT64_MAX, infinity, false},
        {INT64_MIN, -infinity, false},
        {infinity, infinity, true},
        {0, std::nan(""), false},
        {std::nan(""), std::nan(""), false},
        {UINT64_MAX, 2 * two63, true},
        {1, true, false},
        {0, false, false},
        {1.0, true, false},
        {0, nullptr, false},
        {1, "1", false},
        {"", nullptr, false},
        {List::of(1, Object{{"a", 2}}), List::of(1.0, Object{{"a", 2.0}}), true},
        {List::of(1), List::of(1, 1), false},
        {List(), Object(), false},
        {JSONValue::opaque(Kind::a), JSONValue::opaque(Kind::a), false},
    };
    for (const auto& [a, b, equal] : rows) {
        EXPECT_EQ(a == b, equal) << a << " and " << b;
        EXPECT_EQ(b == a, equal) << b << " and " << a;
    }
}

TEST(JSONValue, ConvertsContainersAndUnsignedNumbers) {
    const std::vector<std::pair<JSONValue, std::string>> rows{
        {std::vector<int>{1, -2}, "[1,-2]"},
        {std::vector<bool>{true, false}, "[true,false]"},
        {std::vector<const char*>{"a", nullptr}, R"(["a",null])"},
        {std::vector<JSONValue>{1, "x"}, R"([1,"x"])"},
        {std::vector<std::vector<std::string>>{{"a"}, {}}, R"([["a"],[]])"},
        {std::map<std::string_view, std::vector<float>>{{"a", {1.5F}}}, R"({"a":[1.5]})"},
        {std::unordered_map<std::string, StringMap>{{"a", {{"b", "c"}}}}, R"({"a":{"b":"c"}})"},
        {std::uint8_t{255}, "255"},
        {static_cast<std::uint64_t>(INT64_MAX), "9223372036854775807"},
        {UINT64_MAX, "18446744073709551616"},
    };
    for (const auto& [value, text] : rows) EXPECT_EQ(shown(value), text);
    EXPECT_TRUE(JSONValue(static_cast<std::uint64_t>(INT64_MAX) + 1).as<double>()) << "as it is read from JSON text";
}

TEST(JSONValue, DoesNotConvertBytesOrPointers) {
    static_assert(OpaqueType<ByteBuffer> && OpaqueType<SecretBuffer> && OpaqueType<char> && OpaqueType<void*>);
    static_assert(OpaqueType<Kind> && OpaqueType<std::vector<Kind>> && OpaqueType<std::map<int, int>>);
    static_assert(OpaqueType<Zennet::KeyType> && OpaqueType<JWKUse> && OpaqueType<std::optional<int>>);
    EXPECT_EQ(*JSONValue::opaque(ByteBuffer{1}).as<ByteBuffer>(), ByteBuffer{1});
}

TEST(JSONValue, NumbersOutOfRangeDoNotConvert) {
    for (const double number : {std::nan(""), infinity, -infinity, 0.5, two63, 1e300}) {
        EXPECT_EQ(JSONValue(number).to<std::int64_t>(), std::nullopt) << number;
    }
    EXPECT_EQ(JSONValue(-two63).to<std::int64_t>(), INT64_MIN);
    EXPECT_EQ(JSONValue(INT64_MAX).to<std::uint64_t>(), static_cast<std::uint64_t>(INT64_MAX));
    EXPECT_EQ(JSONValue(UINT64_MAX).to<std::uint64_t>(), std::nullopt) << "a double by now";
    EXPECT_EQ(JSONValue(-1).to<std::uint64_t>(), std::nullopt);
    EXPECT_EQ(JSONValue(256).to<std::uint8_t>(), std::nullopt);
    EXPECT_EQ(JSONValue(-128.0).to<std::int8_t>(), std::int8_t{-128});
    EXPECT_EQ(JSONValue(-1e300).to<float>(), std::nullopt);
    EXPECT_EQ(JSONValue(-infinity).to<float>(), -std::numeric_limits<float>::infinity());
    EXPECT_TRUE(std::isnan(JSONValue(std::nan("")).to<float>().value()));
}

// A braced list would be a list in a list to GCC, and a copy to Clang.
TEST(JSONValue, KeepsNestedLists) {
    static_assert(!std::constructible_from<List, std::initializer_list<JSONValue>> &&
                  !std::constructible_from<List, int>);
    EXPECT_EQ(shown(List::of(List::of(List::of()))), "[[[]]]");
    EXPECT_EQ(shown(List::of(List::of(1), 2)), "[[1],2]");
    const auto list = List::of(1);
    EXPECT_EQ(shown(List{list}), "[1]");
}

TEST(JSONValue, CanBeAssignedAPartOfItself) {
    JSONValue value(Object{{"a", List::of(Object{{"b", "text"}})}});
    value = value.as<Object>()->at("a");
    value = std::move(value.as<List>()->front());
    EXPECT_EQ(value, JSONValue(Object{{"b", "text"}}));
}

TEST(JSONValue, CanBeUsedAfterAMove) {
    // NOLINTBEGIN(*-use-after-move, *.Move)
    for (auto value : List::of(nullptr, true, 1, 0.5, std::string(99, 'x'), List::of(1), Object{{"a", 1}},
                               JSONValue::opaque(Kind::a))) {
        const auto original = shown(value);
        const JSONValue moved = std::move(value);
        EXPECT_EQ(shown(moved), original);
        EXPECT_FALSE(shown(value).empty());
        EXPECT_FALSE(value.as<Kind>());
        static_cast<void>(value == moved);
        value = "again";
        EXPECT_EQ(value, "again");
    }
    // NOLINTEND(*-use-after-move, *.Move)
}

TEST(JSONValue, ShownTextIgnoresStreamFlags) {
    EXPECT_EQ(shown(List::of(nullptr, true, 255, -2.5, 1e300, infinity, std::nan(""), JSONValue::opaque(Kind::a))),
              "[null,true,255,-2.5,1e+300,inf,nan,<opaque>]");
    EXPECT_EQ(shown(JSONValue(List::of("a/b\"\\\n\x7F\u00e9", "\u00e9\xFF", std::string(1, '\0')))),
              R"(["a/b\"\\\u000A\u007F)"
              "\u00e9"
              R"(","\xC3\xA9\xFF","\u0000"])");
    EXPECT_EQ(shown(Object{{"b\n", List()}, {"a", Object()}}), R"({"a":{},"b\u000A":[]})");
}

template <class T>
concept Shown = requires(std::ostream& out, const T& value) {
    out << value;
};

TEST(Streams, CannotShowSecrets) {
    static_assert(Shown<JSONValue> && Shown<JOSEError> && Shown<JWKUse>);
    static_assert(!Shown<SecretJSON> && !Shown<SecretBuffer> && !Shown<SecKey> && !Shown<Zennet::Key>);
    static_assert(!Shown<JsonWebKey> && !Shown<JsonWebKeySet> && !Shown<JOSE::JWK> && !Shown<JOSEHelper>);
    std::ostringstream out;
    out << JWKUse::JWK_SIG_ENC;
    EXPECT_EQ(out.str(), "sig_enc");
}

}  // namespace
