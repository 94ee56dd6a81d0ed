#include "torvane/platform/encodings/json_serialization.hpp"

#include <cmath>
#include <limits>
#include <string>

#include <gtest/gtest.h>

#include "tests/testing/expect_error.hpp"
#include "tests/testing/tokens.hpp"

namespace Torvane {

// The value as one of the other library's, which writes 1 and 1.0 differently.
void to_json(nlohmann::json& json, const JSONValue& value) {
    value.visit([&](const auto& alternative) {
        if constexpr (std::is_constructible_v<nlohmann::json, decltype(alternative)>) json = alternative;
    });
}

}  // namespace Torvane

namespace {

using namespace Torvane;
using namespace std::string_literals;
using nlohmann::json;
using List = JSONValue::List;
using Object = JSONValue::Object;

// Reads by the reader of secrets too, which has to give the same result.
JSONValue read(std::string_view text) {
    EXPECT_EQ(Testing::textualForm(THROWN_BY(JSONSerialization::secretJSONObject(asBytes(text)))),
              Testing::textualForm(THROWN_BY(JSONSerialization::jsonObject(asBytes(text)))));
    return JSONSerialization::jsonObject(asBytes(text));
}

std::string written(const JSONValue& value) {
    return std::string(asText(JSONSerialization::data(value)));
}

std::string nested(std::size_t depth, const std::string& inner = "") {
    return std::string(depth, '[') + inner + std::string(depth, ']');
}

const JSONError tooDeep("The text is not JSON: lists and objects nest too deep.");

TEST(JSONReading, RoundTripsEveryKindOfValue) {
    Testing::forEachRow("json_texts.json", "accepted", 36, [](const json& row) {
        const auto value = read(row["text"].get<std::string>());
        EXPECT_EQ(json(value).dump(), row["value"].dump());
        EXPECT_EQ(json(written(value)), row["written"]);
    });
}

TEST(JSONReading, RejectsWhatIsNotStrictJSON) {
    Testing::forEachRow("json_texts.json", "rejected", 61,
                        [](const json& row) { EXPECT_ERROR_TEXT(read(Testing::filledIn(row["text"])), row["error"]); });
    Testing::forEachRow("json_texts.json", "rejectedBytes", 7, [](const json& row) {
        EXPECT_ERROR_TEXT(read(asText(Testing::fromHex(row["hex"]))), row["error"]);
    });
}

TEST(JSONReading, RejectsNestingBeyondTheLimit) {
    for (const auto& text : {nested(512), nested(511, "{\"a\":1}")}) EXPECT_EQ(written(read(text)), text);
    for (const auto& text : {nested(513), nested(512, "{}")}) EXPECT_ERROR(read(text), tooDeep);
}

TEST(JSONReading, ErrorsNeverRepeatASecret) {
    const std::string text = R"({"d":"s3cret","n":[12345678,true,"s3cret"],"s3cret":{"e":"s3cret"}})";
    std::vector<std::string> faulty;
    for (std::size_t i = 0; i < text.size(); ++i) {
        faulty.insert(faulty.end(), {text.substr(0, i), text.substr(i + 1)});
        for (const char c : "\x01\"\\{}[],:x0\xFF"s) faulty.push_back(std::string(text).replace(i, 1, 1, c));
    }
    int rejected = 0;
    for (const auto& candidate : faulty) {
        const auto thrown = THROWN_BY(read(candidate));
        const auto message = Testing::textualForm(thrown);
        rejected += thrown ? 1 : 0;
        for (const auto* secret : {"s3c", "ret", "1234"}) EXPECT_EQ(message.find(secret), message.npos) << message;
    }
    EXPECT_GT(rejected, 500);
}

TEST(JSONReading, ReadsLongStringsNumbersAndObjects) {
    std::string members = "{";
    for (int i = 0; i < 100'000; ++i) members += "\"m" + std::to_string(i) + "\":" + std::to_string(i) + ",";
    members.back() = '}';
    const auto ten = [](const std::string& text) {
        std::string result;
        for (std::size_t i = 0; i < 10'000'000; i += text.size()) result += text;
        return result;
    };
    for (const auto& text : {"\"" + ten("a") + "\"", "\"" + ten("\\\"") + "\"", members}) {
        EXPECT_EQ(written(read(text)).size(), text.size());
    }
    EXPECT_EQ(written(read("0." + ten("3"))), "0.3333333333333333");
    EXPECT_EQ(written(read("1e-" + ten("9"))), "0");
}

TEST(JSONWriting, RejectsWhatIsNotJSONAtAnyDepth) {
    const double infinity = std::numeric_limits<double>::infinity();
    const std::pair<std::string, List> cases[] = {
        {"A number that is not finite", List::of(infinity, -infinity, std::nan(""))},
        {"A string that is not UTF-8", List::of("\xFF", "\xC0\xAF", "\xED\xA0\x80", "\xE2\x82", Object{{"\xFF", 1}})},
        {"A value that is not JSON", List::of(JSONValue::opaque('x'), JSONValue::opaque(ByteBuffer()))}};
    for (const auto& [what, values] : cases) {
        for (const auto& value : values) {
            for (const JSONValue& holder :
                 List::of(value, List::of(1, value), Object{{"a", List::of(Object{{"b", value}})}})) {
                EXPECT_ERROR(written(holder), JSONError(what + " cannot be written as JSON."));
                EXPECT_FALSE(JSONSerialization::isValidJSONObject(holder)) << what;
            }
        }
    }
}

TEST(JSONWriting, OnlyListsAndObjectsAreValidAtTheTop) {
    for (const JSONValue& value : List::of(nullptr, true, 1, 0.5, "x")) {
        EXPECT_FALSE(JSONSerialization::isValidJSONObject(value)) << written(value);
        for (const JSONValue& holder :
             List::of(List::of(value), Object{{"\u00e9\0"s, List::of(value)}}, List(), Object())) {
            EXPECT_TRUE(JSONSerialization::isValidJSONObject(holder)) << written(holder);
        }
    }
}

}  // namespace
