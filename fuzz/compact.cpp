// Compact serialisations as JsonWebStructure, ReceivedJWS and ReceivedJWE take them apart, against splitting at the
// dots and decoding each piece the slow way.
#include "torvane/platform/jose/jwe.hpp"
#include "torvane/platform/jose/jws.hpp"
#include "torvane/torvane.hpp"

#include "tests/testing/base64url_oracle.hpp"
#include "tests/testing/tokens.hpp"

namespace {

using namespace Testing;
using Torvane::JSONValue;
using Torvane::JsonWebStructure;

const std::string prefix = "JOSEError.invalidJOSEComponent(";

std::string expectedRefusal(const std::vector<std::string>& pieces, bool mayLackPayload) {
    if (pieces.size() < 2)
        return prefix + "\"Missing component separator character. Invalid compact serialized string.\")";
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const bool allowed =
            pieces[i].empty() ? mayLackPayload && pieces.size() == 3 && i == 1 : naiveDecoding(pieces[i]).has_value();
        if (!allowed) return prefix + debugQuoted("Component is not valid base64: " + pieces[i]) + ")";
    }
    return {};
}

std::optional<JSONValue::Object> headerIn(const std::string& piece) {
    std::optional<JSONValue::Object> header;
    refusalOf([&] {
        const auto bytes = naiveDecoding(piece);
        if (bytes) header = JSONSerialization::jsonObject(*bytes).to<JSONValue::Object>();
    });
    return header;
}

// A token is accepted when it has so many pieces, each the one text of its bytes, and a header that is one.
template <class Received>
void requireExact(ByteView token, const std::vector<std::string>& pieces, std::size_t count) {
    const auto header = headerIn(pieces.at(0));
    bool isExact = pieces.size() == count && header;
    for (const auto& piece : pieces) isExact = isExact && naiveDecoding(piece).has_value();
    std::optional<JSONValue::Object> received;
    const auto refusal = refusalOf([&] { received = Received(token).header().parameters(); });
    if (refusal.empty())
        return require(isExact && received == header, "an accepted token is exact, its header the same");
    require(!isExact || refusal.find("The header's \\\"") != refusal.npos || pieces.back().empty(),
            "what is exact is refused for a member of its header only: " + refusal);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const auto text = asText({data, size});
    const auto pieces = parts({data, size});
    std::optional<JSONValue::Object> header;
    const auto refusal = refusalOf([&] { header = JsonWebStructure(text).getHeader(); });
    require(refusal == expectedRefusal(pieces, false), "the structure refuses the first bad piece: " + refusal);
    const bool isToken = pieces.size() == 3 || pieces.size() == 5;
    require(!refusal.empty() || header == (isToken ? headerIn(pieces[0]) : std::nullopt), "a token has its header");
    const auto refusalOfHeader = refusalOf([&] { header = JsonWebStructure::headerOf(text); });
    require(refusalOfHeader == expectedRefusal(pieces, true), "so does its header: " + refusalOfHeader);
    requireExact<JOSE::ReceivedJWS>({data, size}, pieces, 3);
    requireExact<JOSE::ReceivedJWE>({data, size}, pieces, 5);
    return 0;
}
