// Fuzz target of JWKs and JWK Sets: a key is written without private values and survives a round trip, alone and in a
// set; a private JWK has the same public key.
#include "torvane/torvane.hpp"

#include "tests/testing/oracle.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;
using JOSE::JWK;
using JOSE::JWKSet;

void requireSame(const JWK& a, const JWK& b) {
    require(a.parameters() == b.parameters() && a.keyType() == b.keyType(), "a key survives a round trip");
}

void checkKey(ByteView text) {
    std::optional<JWK> jwk, own;
    const auto rejection = errorTextOf([&] { jwk = JWK::initFrom(text); });
    const bool isPrivate = errorTextOf([&] { own = JWK::initPrivateFrom(text); }).empty();
    const auto set = "{\"keys\":[" + std::string(asText(text)) + "]}";
    std::optional<JWKSet> keys;
    const auto rejectionOfSet = errorTextOf([&] { keys = JWKSet::initFrom(asBytes(set)); });
    if (rejectionOfSet.find("nest too deep") != rejectionOfSet.npos) return;  // two levels deeper than alone
    require(keys.has_value() || !jwk, "a JWK that is accepted alone is accepted in a set: " + rejectionOfSet);
    if (!jwk) return require(!isPrivate, "a private JWK is accepted as a public one: " + rejection);
    for (const auto* name : {"d", "p", "q", "dp", "dq", "qi", "k"}) {
        require(!(*jwk)[name], "a public JWK keeps no private value");
    }
    requireSame(keys->keys().front(), *jwk);
    const auto written = jwk->jsonData();
    if (written) requireSame(JWK::initFrom(*written), *jwk);
    std::optional<SecKey> key;
    const bool isKey = errorTextOf([&] { key = jwk->converted(); }).empty();
    if (!own) return;
    requireSame(*own, *jwk);
    require(isKey && !own->converted().isPublicKey(), "a private JWK is a usable key pair");
    require(own->converted().publicComponents() == key->publicComponents(), "a private JWK has the same public key");
}

void checkSet(ByteView text) {
    std::optional<JWKSet> set;
    if (!errorTextOf([&] { set = JWKSet::initFrom(text); }).empty()) return;
    const auto again = JWKSet::initFrom(set->jsonData());
    require(again.keys().size() == set->keys().size(), "a set keeps all its keys in a round trip");
    for (std::size_t i = 0; i < set->keys().size(); ++i) requireSame(again.keys()[i], set->keys()[i]);
    std::optional<Torvane::JsonWebKeySet> keys;
    if (!errorTextOf([&] { keys.emplace(text); }).empty()) return;
    const auto written = keys->encode();
    require(Torvane::JsonWebKeySet(written).encode() == written, "a set survives a round trip");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    checkKey({data, size});
    checkSet({data, size});
    return 0;
}
