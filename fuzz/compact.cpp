// Fuzz target of compact serialisations: JsonWebStructure, ReceivedJWS and ReceivedJWE accept what a naive reader
// accepts, which splits the text at its dots and decodes each part.
#include "torvane/torvane.hpp"

#include "tests/testing/base64url_oracle.hpp"
#include "tests/testing/tokens.hpp"

namespace {

using namespace Testing;
using Torvane::JSONValue;
using Torvane::JsonWebStructure;

const std::string prefix = "JOSEError.invalidJOSEComponent(";

std::string expectedRejection(const std::vector<std::string>& tokenParts, bool mayLackPayload) {
    if (tokenParts.size() < 2) {
        return prefix + "\"Missing component separator character. Invalid compact serialized string.\")";
    }
    for (std::size_t i = 0; i < tokenParts.size(); ++i) {
        const bool allowed = tokenParts[i].empty() ? mayLackPayload && tokenParts.size() == 3 && i == 1
                                                   : naiveDecoding(tokenParts[i]).has_value();
        if (!allowed) return prefix + debugQuoted("Component is not valid base64: " + tokenParts[i]) + ")";
    }
    return {};
}

std::optional<JSONValue::Object> headerIn(const std::string& part) {
    std::optional<JSONValue::Object> header;
    errorTextOf([&] {
        const auto bytes = naiveDecoding(part);
        if (bytes) header = JSONSerialization::jsonObject(*bytes).to<JSONValue::Object>();
    });
    return header;
}

// A token is accepted only if it has `count` parts in canonical base64url and a header that is a JSON object.
template <class Received>
void checkReceived(ByteView token, const std::vector<std::string>& tokenParts, std::size_t count) {
    const auto header = headerIn(tokenParts.at(0));
    bool isWellFormed = tokenParts.size() == count && header;
    for (const auto& part : tokenParts) isWellFormed = isWellFormed && naiveDecoding(part).has_value();
    std::optional<JSONValue::Object> received;
    const auto rejection = errorTextOf([&] { received = Received(token).header().parameters(); });
    if (rejection.empty()) {
        return require(isWellFormed && received == header, "an accepted token is well-formed and has this header");
    }
    require(!isWellFormed || rejection.find("The header's \\\"") != rejection.npos || tokenParts.back().empty(),
            "a well-formed token is rejected only for a member of its header: " + rejection);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = asText({data, size});
    const auto tokenParts = parts({data, size});
    std::optional<JSONValue::Object> header;
    const auto rejection = errorTextOf([&] { header = JsonWebStructure(text).getHeader(); });
    require(rejection == expectedRejection(tokenParts, false),
            "the structure reports the first malformed part: " + rejection);
    const bool isToken = tokenParts.size() == 3 || tokenParts.size() == 5;
    require(!rejection.empty() || header == (isToken ? headerIn(tokenParts[0]) : std::nullopt),
            "the structure returns the header of a token");
    const auto rejectionOfHeader = errorTextOf([&] { header = JsonWebStructure::readHeader(text); });
    require(rejectionOfHeader == expectedRejection(tokenParts, true),
            "readHeader() reports the first malformed part: " + rejectionOfHeader);
    checkReceived<JOSE::ReceivedJWS>({data, size}, tokenParts, 3);
    checkReceived<JOSE::ReceivedJWE>({data, size}, tokenParts, 5);
    return 0;
}
