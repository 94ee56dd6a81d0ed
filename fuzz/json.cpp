// Fuzz target of the JSON reader: it accepts the same texts as Jansson (a strict reader) and reads the same values, and
// so does the reader of secrets; values survive a round trip.
#include "torvane/torvane.hpp"

#include "tests/testing/jansson.hpp"

namespace {

using namespace Torvane;
using namespace Testing;

// Only our reader rejects deep nesting and a NUL byte at the end; only Jansson rejects a NUL in a member's name.
bool mayDiffer(const std::string& refusal, const json_error_t& error) {
    return refusal.find("nest too deep") != refusal.npos || refusal.find("NUL byte") != refusal.npos ||
           json_error_code(&error) == json_error_null_byte_in_key;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    JSONValue value;
    const auto refusal = refusalOf([&] { value = JSONSerialization::jsonObject({data, size}); });
    const auto refusalOfSecret = refusalOf([&] {
        const auto secret = JSONSerialization::secretJSONObject({data, size});
        require(secret.get() == value, "the reader of secrets reads the same value");
    });
    require(refusalOfSecret == refusal, "the reader of secrets gives the same error: " + refusalOfSecret);
    json_error_t error{};
    const auto other = readByJansson({data, size}, &error);
    if (mayDiffer(refusal, error)) return 0;
    require(refusal.empty() == (other != nullptr),
            "both readers accept or reject the text: " + refusal + " / " + error.text);
    if (!other) return 0;
    require(isSame(value, other.get()), "both readers read the same value");
    const auto integers = readByJansson({data, size}, nullptr, true);
    require(!integers || isSame(value, integers.get()), "integers are exact");
    const auto text = JSONSerialization::data(value);
    require(JSONSerialization::data(JSONSerialization::jsonObject(text)) == text, "values survive a round trip");
    require(isSame(value, readByJansson(text).get()), "Jansson reads the written text");
    return 0;
}
