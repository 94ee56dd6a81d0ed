// Fuzz target of the JSON reader: it accepts the same texts as Jansson (a strict reader) and reads the same values, and
// so does the reader of secrets; values survive a round trip.
#include "torvane/torvane.hpp"

#include "tests/testing/jansson.hpp"

namespace {

using namespace Torvane;
using namespace Testing;

// Only our reader rejects deep nesting and a NUL byte at the end; only Jansson rejects a NUL in a member's name.
bool mayDiffer(const std::string& rejection, const json_error_t& error) {
    return rejection.find("nest too deep") != rejection.npos || rejection.find("NUL byte") != rejection.npos ||
           json_error_code(&error) == json_error_null_byte_in_key;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    JSONValue value;
    const auto rejection = errorTextOf([&] { value = JSONSerialization::jsonObject({data, size}); });
    const auto rejectionOfSecret = errorTextOf([&] {
        const auto secret = JSONSerialization::secretJSONObject({data, size});
        require(secret.get() == value, "the reader of secrets reads the same value");
    });
    require(rejectionOfSecret == rejection, "the reader of secrets gives the same error: " + rejectionOfSecret);
    json_error_t error{};
    const auto other = readByJansson({data, size}, &error);
    if (mayDiffer(rejection, error)) return 0;
    require(rejection.empty() == (other != nullptr),
            "both readers accept or reject the text: " + rejection + " / " + error.text);
    if (!other) return 0;
    require(isSame(value, other.get()), "both readers read the same value");
    const auto integers = readByJansson({data, size}, nullptr, true);
    require(!integers || isSame(value, integers.get()), "integers are exact");
    const auto text = JSONSerialization::data(value);
    require(JSONSerialization::data(JSONSerialization::jsonObject(text)) == text, "values survive a round trip");
    require(isSame(value, readByJansson(text).get()), "Jansson reads the written text");
    return 0;
}
