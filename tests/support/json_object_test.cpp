#include "torvane/support/json_object.hpp"

#include <any>
#include <chrono>
#include <filesystem>
#include <limits>
#include <list>
#include <set>
#include <stdexcept>

#include <gtest/gtest.h>

#include "tests/testing/expect_error.hpp"

namespace {

using namespace Torvane;
using List = JSONValue::List;
using Object = JSONValue::Object;

const auto notJSON = JsonSerializeError::failedToParseJson("Invalid parameters in the dictionary.");

enum class Kind { a, b };

class Child : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    explicit Child(int childId = 0) : id(childId) {}
    explicit Child(const Object& dict) : id(requiredMember<std::int64_t>(dict, "id")) {}
    std::int64_t id;

  protected:
    Properties properties() const override { return {{{"id", id}}, JsonSerializeObject::properties()}; }
};

// Overrides the conversion, which fails for negative ids.
class Overriding : public Child {
  public:
    using Child::Child;
    Object toDictionary() const override {
        if (id < 0) throw std::runtime_error("no negative id");
        return {{"own", id}};
    }
};

// Not converted inside another object, because it does not derive from JsonSerializeProtocol.
class Plain : public JsonSerializeObject {
  public:
    using JsonSerializeObject::JsonSerializeObject;

  protected:
    Properties properties() const override { return {{{"plain", true}}, JsonSerializeObject::properties()}; }
};

// Has one property, whose value a test chooses.
template <class T>
class Holder : public JsonSerializeObject {
  public:
    explicit Holder(const T& held) : value(held) {}
    const T& value;

  protected:
    Properties properties() const override { return {{{"value", value}}, JsonSerializeObject::properties()}; }
};

template <class T>
std::string textOf(const T& value) {
    return Holder<T>(value).toJsonString();
}

TEST(JsonSerializeObject, ConvertsEachKindOfProperty) {
    EXPECT_EQ(textOf(std::string("a/b")), R"({"value":"a\/b"})");
    EXPECT_EQ(textOf("literal"), R"({"value":"literal"})");
    const char full[] = {'f', 'u', 'l', 'l'};
    EXPECT_EQ(textOf(full), R"({"value":"full"})");
    EXPECT_EQ(textOf(1.5F), R"({"value":1.5})");
    EXPECT_EQ(textOf(std::vector<std::uint64_t>{4294967295, UINT64_MAX}),
              R"({"value":[4294967295,18446744073709551616]})");
    EXPECT_EQ(textOf(List::of(nullptr, static_cast<const char*>(nullptr))), R"({"value":[null,null]})");
    EXPECT_EQ(textOf(Object{{"a", List::of(1, nullptr)}}), R"({"value":{"a":[1,null]}})");
    EXPECT_EQ(textOf(StringMap{{"a", "b"}}), R"({"value":{"a":"b"}})");
    EXPECT_EQ(textOf(std::vector<bool>{true, false}), R"({"value":[true,false]})");
    EXPECT_EQ(textOf(std::map<std::string, std::list<int>>{{"a", {1}}}), R"({"value":{"a":[1]}})");
    EXPECT_EQ(textOf(std::vector<std::optional<int>>{1, {}}), R"({"value":[1,null]})");
}

TEST(JsonSerializeObject, LeavesOutEnumerationsAndAbsentValues) {
    const auto leftOut = [](const auto&... values) {
        return std::set{textOf(values)...} == std::set<std::string>{"{}"};
    };
    EXPECT_TRUE(leftOut(Kind::a, std::optional<std::string>(), std::optional<Kind>(), std::shared_ptr<Child>(),
                        static_cast<const char*>(nullptr), std::optional<std::unique_ptr<Child>>()));
    EXPECT_EQ(JsonSerializeObject().toJsonString(), "{}");
}

TEST(JsonSerializeObject, UnwrapsOptionalsExceptEnumerations) {
    EXPECT_EQ(textOf(std::optional<int>(1)), R"({"value":1})");
    EXPECT_EQ(textOf(std::optional<Object>(Object())), R"({"value":{}})");
    EXPECT_EQ(textOf(std::optional(std::make_shared<Child>(1))), R"({"value":{"id":1}})");
    EXPECT_EQ(textOf(std::optional(std::vector{std::make_shared<Child>(1)})), R"({"value":[{"id":1}]})");
    EXPECT_ERROR(textOf(std::optional(Kind::a)), notJSON);
    const std::optional kept(Kind::b);
    const auto dictionary = Holder(kept).toDictionary();
    EXPECT_EQ(*dictionary.at("value").as<Kind>(), Kind::b);
}

TEST(JsonSerializeObject, ConvertsObjectsByTheirDynamicType) {
    const std::shared_ptr<Child> overriding = std::make_shared<Overriding>(1);
    std::list<Child> byValue;
    byValue.emplace_back(2);
    EXPECT_EQ(textOf(Overriding(1)), R"({"value":{"own":1}})");
    EXPECT_EQ(textOf(overriding), R"({"value":{"own":1}})");
    EXPECT_EQ(textOf(static_cast<const Child*>(overriding.get())), R"({"value":{"own":1}})");
    EXPECT_EQ(textOf(std::vector<std::shared_ptr<JsonSerializeObject>>{overriding, std::make_shared<Child>(3)}),
              R"({"value":[{"own":1},{"id":3}]})");
    EXPECT_EQ(textOf(byValue), R"({"value":[{"id":2}]})");
    const Child array[2] = {Child(4), Child(5)};
    EXPECT_EQ(textOf(array), R"({"value":[{"id":4},{"id":5}]})");
    EXPECT_EQ(textOf(std::vector{std::optional(overriding)}), R"({"value":[{"own":1}]})");
    EXPECT_EQ(textOf(std::vector<std::shared_ptr<Plain>>()), R"({"value":[]})");
}

TEST(JsonSerializeObject, PassesOnNestedErrors) {
    const auto failing = std::make_shared<Overriding>(-1);
    const auto reason = [](auto code) { return localizedDescription(Testing::thrownBy(code)); };
    EXPECT_EQ(reason([&] { textOf(failing); }), "no negative id");
    EXPECT_EQ(reason([&] { textOf(std::vector{std::make_shared<Overriding>(1), failing}); }), "no negative id");
    // Nothing is converted in a list that holds anything else.
    EXPECT_ERROR(textOf(std::vector<std::shared_ptr<JsonSerializeObject>>{failing, std::make_shared<Plain>()}),
                 notJSON);
}

TEST(JsonSerializeObject, ConvertsTheClassBeforeItsBase) {
    struct Failing : Child {
        explicit Failing(const char* failure) : text(failure) {}
        const char* text;
        Object toDictionary() const override { throw std::runtime_error(text); }
    };
    struct Above : JsonSerializeObject {
        Failing child{"base"};
        Properties properties() const override { return {{{"child", child}}, JsonSerializeObject::properties()}; }
    };
    struct Below : Above {
        Failing other{"class"};
        Properties properties() const override { return {{{"other", other}}, Above::properties()}; }
    };
    EXPECT_EQ(localizedDescription(Testing::thrownBy([] { static_cast<void>(Below().toDictionary()); })), "class");
}

TEST(JsonSerializeObject, LeavesRejectionToTheWriter) {
    struct Own {
        int member = 7;
    };
    std::map<std::string, Child> children;
    children.try_emplace("a", 1);
    const auto plain = std::make_shared<Plain>();
    const auto rejected = [](const auto&... values) { (..., [&] { EXPECT_ERROR(textOf(values), notJSON); }()); };
    rejected(Own(), std::chrono::system_clock::now(), std::filesystem::path("a/b"), std::vector{Kind::a}, "\xFF");
    rejected(ByteBuffer{1, 2}, std::vector<std::byte>(), std::numeric_limits<double>::quiet_NaN(), plain, children);
    rejected(std::map<std::string, std::shared_ptr<Child>>{{"a", nullptr}},
             std::vector<std::shared_ptr<Child>>{nullptr},
             std::vector<std::shared_ptr<JsonSerializeObject>>{std::make_shared<Child>(), plain});
    rejected(std::any(1), std::optional(std::any()), std::vector{std::any("x")});
    EXPECT_EQ(Holder<Own>(Own()).toDictionary().at("value").as<Own>()->member, 7);
    EXPECT_EQ(Holder<std::any>(Own()).toDictionary().at("value").as<Own>()->member, 7);
}

class Base : public JsonSerializeObject, public JsonSerializeProtocol {
  public:
    using JsonSerializeObject::JsonSerializeObject;

  protected:
    Properties properties() const override {
        return {{{"name", "base"}, {"only", 1}, {"note", "base"}}, JsonSerializeObject::properties()};
    }
};

class Silent : public Base {
  public:
    using Base::Base;
};

class Derived : public Silent {
  public:
    explicit Derived(Object dict) : read(std::move(dict)) {}
    Object read;

  protected:
    Properties properties() const override {
        return {{{"name", 1}, {"name", "derived"}, {"note", std::optional<int>()}}, Silent::properties()};
    }
};

TEST(JsonSerializeObject, DerivedPropertiesWin) {
    EXPECT_EQ(Silent().toJsonString(), R"({"name":"base","note":"base","only":1})");
    EXPECT_EQ(Derived(Object()).toJsonString(), R"({"name":"derived","note":"base","only":1})");
}

TEST(FromJsonString, ReturnsTheRequestedType) {
    EXPECT_EQ(fromJsonString<Derived>(R"({"a":{"b":[]}})").read, (Object{{"a", Object{{"b", List()}}}}));
    EXPECT_EQ(fromJsonString<Overriding>(R"({"id":5.0})").toJsonString(), R"({"own":5})");
    EXPECT_ERROR(fromJsonString<Silent>("{}"), JsonSerializeError::missingRequiredInit());
    for (const auto* text :
         {"{}", R"({"id":null})", R"({"id":"1"})", R"({"id":1.5})", R"({"id":9223372036854775808})"}) {
        EXPECT_ERROR(fromJsonString<Child>(text), JsonSerializeError::missingRequiredInformationForKey("id"));
    }
}

TEST(JsonCodeHelper, WritesOnlyListsAndObjects) {
    EXPECT_EQ(JsonCodeHelper::decodeCodeJson(asBytes("42")), JSONValue(42));
    EXPECT_EQ(JsonCodeHelper::decodeCodeJson("42"), JSONValue(42));
    EXPECT_ERROR(
        JsonCodeHelper::decodeCodeJson(ByteView()),
        JsonSerializeError::failedToParseJson("Failed to parse response to JSON. The text is not JSON: unexpected "
                                              "end at byte 1."));
    EXPECT_EQ(asText(JsonCodeHelper::encodeAndConvertToJson(List::of(1, "/"))), R"([1,"\/"])");
    for (const JSONValue& value : List::of("x", 1, nullptr, List::of(JSONValue::opaque(Kind::a)))) {
        EXPECT_ERROR(JsonCodeHelper::encodeAndConvertToJson(value), notJSON);
    }
}

}  // namespace
