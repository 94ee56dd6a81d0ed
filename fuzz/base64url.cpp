// Fuzz target of base64url: decodes the input as text and encodes it as bytes, and compares with a naive reference.
#include "tests/testing/base64url_oracle.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Testing::isBase64urlToAll(Torvane::asText({data, size}));
    Testing::require(Testing::isBase64urlToAll(Testing::base64urlByAll({data, size})), "what was encoded decodes");
    return 0;
}
