#include "torvane/messaging/request_containers.hpp"

#include <any>
#include <array>
#include <charconv>
#include <cstdint>
#include <variant>

#include "torvane/platform/core/error.hpp"

namespace Torvane {
namespace {

class Description {
  public:
    void operator()(std::monostate) { text_ += "null"; }
    void operator()(bool value) { text_ += value ? "true" : "false"; }
    void operator()(std::int64_t value) { addNumber(value); }
    void operator()(double value) { addNumber(value); }
    void operator()(const std::string& value) { text_ += debugQuoted(value); }
    void operator()(const std::any&) { text_ += "Any"; }
    void operator()(const JSONValue& value) { value.visit(*this); }
    void operator()(const JSONValue::List& list) {
        addAll(list, [this](const JSONValue& element) { (*this)(element); });
        text_ += list.empty() ? "[]" : "]";
    }
    template <class Value>
    void operator()(const std::map<std::string, Value, std::less<>>& map) {
        addAll(map, [this](const auto& member) {
            (*this)(member.first);
            text_ += ": ";
            (*this)(member.second);
        });
        text_ += map.empty() ? "[:]" : "]";
    }

    std::string text() && { return std::move(text_); }

  private:
    template <class Elements>
    void addAll(const Elements& elements, auto addOne) {
        const char* separator = "[";
        for (const auto& element : elements) {
            text_ += std::exchange(separator, ", ");
            addOne(element);
        }
    }

    void addNumber(auto value) {
        std::array<char, 32> digits{};
        text_.append(digits.data(), std::to_chars(digits.data(), digits.data() + digits.size(), value).ptr);
    }

    std::string text_;
};

}  // namespace

template <class Value>
std::string RequestContainer<Value>::description() const {
    Description description;
    description(values_);
    return std::move(description).text();
}

template class RequestContainer<JSONValue>;
template class RequestContainer<std::string>;

URLRequestBody& URLRequestBody::setBodyParam(std::string_view key, JSONValue bodyValue) {
    body().insert_or_assign(std::string(key), std::move(bodyValue));
    return *this;
}

JSONValue::Object URLRequestBody::getParams() const {
    return body();
}

URLRequestHeader& URLRequestHeader::setHeaderField(std::string_view field, std::string_view headerValue) {
    headersDictionary().insert_or_assign(std::string(field), std::string(headerValue));
    return *this;
}

}  // namespace Torvane
