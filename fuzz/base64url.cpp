// base64url both ways against a naive reference: the input as text to decode, and as bytes to encode.
#include "tests/testing/base64url_oracle.hpp"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Testing::isBase64urlToAll(Torvane::asText({data, size}));
    Testing::require(Testing::isBase64urlToAll(Testing::base64urlByAll({data, size})), "what was encoded decodes");
    return 0;
}
