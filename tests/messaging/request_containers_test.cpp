#include "torvane/messaging/request_containers.hpp"

#include <limits>
#include <sstream>

#include <gtest/gtest.h>

namespace {

using namespace Torvane;

std::string shown(const auto& container) {
    std::ostringstream out;
    out << container;
    EXPECT_EQ(out.str(), container.description());
    return out.str();
}

TEST(URLRequestBody, OnlyAnAbsentValueRemoves) {
    URLRequestBody body(JSONValue::Object{{"a", 1}, {"b", 2}, {"c", 3}, {"d", 4}});
    body["a"] = std::nullopt;
    body["b"] = std::optional<std::string>();
    body["c"] = std::optional<JSONValue>();
    body["d"] = nullptr;
    body["absent"] = std::nullopt;
    EXPECT_EQ(shown(body), R"(["d": null])");
    EXPECT_FALSE(body.isEmpty());
    body["d"] = body["absent"];
    EXPECT_TRUE(body.isEmpty());
    EXPECT_EQ(shown(body), "[:]");
    EXPECT_EQ(body.begin(), body.end());
}

TEST(URLRequestBody, ReadingInsertsNothing) {
    URLRequestBody body;
    EXPECT_EQ(std::as_const(body)["a"], std::nullopt);
    EXPECT_FALSE(body["a"]);
    EXPECT_EQ(body["a"], std::nullopt);
    body["a"].modify([](auto& value) { EXPECT_EQ(value, std::nullopt); });
    EXPECT_TRUE(body.isEmpty());
}

TEST(URLRequestBody, LastValueOfANameWins) {
    URLRequestBody body;
    EXPECT_EQ(&body.setBodyParam("a", 1).setBodyParam("a", "x"), &body);
    body["b"] = std::optional<std::string>("y");
    body["c"] = 1;
    body["c"].modify([](auto& value) { value = *value->template as<std::int64_t>() + 1; });
    const std::optional<JSONValue> counted = body["c"];
    EXPECT_EQ(counted, JSONValue(2));
    body["d"] = true;
    body["d"].modify([](auto& value) { value = std::optional<std::string>(); });
    auto params = body.getParams();
    EXPECT_EQ(params, (JSONValue::Object{{"a", "x"}, {"b", "y"}, {"c", 2}}));
    params.clear();
    EXPECT_EQ(body.body().size(), 3U);
}

TEST(URLRequestBody, ShowsEveryKindOfValue) {
    URLRequestBody body;
    body["list"] = JSONValue::List::of(1, -2.5, "q\"\n", nullptr, JSONValue::List(), JSONValue::Object());
    body["object"] = JSONValue::Object{{"b", false}, {"n", std::numeric_limits<double>::infinity()}};
    body["other"] = JSONValue::opaque('x');
    EXPECT_EQ(shown(body),
              R"(["list": [1, -2.5, "q\"\u{A}", null, [], [:]], "object": ["b": false, "n": inf], "other": Any])");
}

TEST(URLRequestHeader, FieldNamesAreComparedExactly) {
    URLRequestHeader header(StringMap{{"Accept", "*/*"}});
    header.setHeaderField(URLRequestHeader::header_content_type, "replaced");
    EXPECT_EQ(&header.setHeaderField(URLRequestHeader::header_content_type, URLRequestHeader::header_content_type_jwt),
              &header);
    header["Content-Type"] = URLRequestHeader::header_content_type_text_plain;
    EXPECT_EQ(&std::as_const(header).headersDictionary(), &header.headersDictionary());
    std::string visited;
    for (const auto& [field, value] : header) visited += field + "=" + value + "\n";
    EXPECT_EQ(visited,
              "Accept=*/*\nContent-Type=text/plain; charset=UTF-8\nContent-type=application/jwt; "
              "charset=UTF-8\n");
    header["Content-Type"] = std::nullopt;
    EXPECT_EQ(shown(header), R"(["Accept": "*/*", "Content-type": "application/jwt; charset=UTF-8"])");
    header.headersDictionary().clear();
    EXPECT_TRUE(header.isEmpty());
}

// A body that ignores removals and has a default for every name.
class OverridingBody : public URLRequestBody {
  protected:
    std::optional<JSONValue> read(std::string_view name) const override {
        auto value = URLRequestBody::read(name);
        return value ? value : "default";
    }
    void write(std::string_view name, std::optional<JSONValue> value) override {
        if (value) URLRequestBody::write(name, std::move(value));
    }
    void modify(std::string_view name, const std::function<void(std::optional<JSONValue>&)>& change) override {
        ++modified;
        URLRequestBody::modify(name, change);
    }

  public:
    int modified = 0;
};

TEST(URLRequestBody, SubscriptCallsTheOverrides) {
    OverridingBody body;
    body["a"] = true;
    body["a"] = std::nullopt;
    body["a"].modify([](auto& value) { value.reset(); });
    EXPECT_EQ(shown(body), R"(["a": true])");
    EXPECT_EQ(body["b"], "default");
    EXPECT_EQ(std::as_const(body)["b"], "default");
    EXPECT_EQ(body.modified, 1);
}

}  // namespace
