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
    void operator()(const JSONValue::Object& object) {
        addAll(object, [this](const auto& member) {
            (*this)(member.first);
            text_ += ": ";
            (*this)(member.second);
        });
        text_ += object.empty() ? "[:]" : "]";
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

std::string describe(const JSONValue::Object& values) {
    Description description;
    description(values);
    return std::move(description).text();
}

}  // namespace Torvane
