// The JSON reader against another strict reader (Jansson): the same texts are accepted, with the same values, by the
// reader of secrets too, and what is written is read the same by all.
#include "torvane/platform/encodings/json_serialization.hpp"

#include "tests/testing/jansson.hpp"

namespace {

using namespace Torvane;
using namespace Testing;

// What only one of the two refuses: depth and a NUL byte at the end, or a NUL in a member's name.
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
    require(refusalOfSecret == refusal, "the reader of secrets refuses the same: " + refusalOfSecret);
    json_error_t error{};
    const auto other = readByJansson({data, size}, &error);
    if (mayDiffer(refusal, error)) return 0;
    require(refusal.empty() == (other != nullptr), "both accept or refuse; here: " + refusal + " / " + error.text);
    if (!other) return 0;
    require(isSame(value, other.get()), "both read the same value");
    const auto integers = readByJansson({data, size}, nullptr, true);
    require(!integers || isSame(value, integers.get()), "integers to the last digit");
    const auto text = JSONSerialization::data(value);
    require(JSONSerialization::data(JSONSerialization::jsonObject(text)) == text, "what is written is read the same");
    require(isSame(value, readByJansson(text).get()), "by the other reader too");
    return 0;
}
