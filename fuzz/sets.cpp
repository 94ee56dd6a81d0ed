// Fuzz target of sets that are made from JSON objects: a set has keys, gives away no private value but to its owner,
// and survives a round trip through its public keys.
#include "torvane/torvane.hpp"

#include "tests/testing/oracle.hpp"
#include "tests/testing/vectors.hpp"

namespace {

using namespace Testing;

JSONValue::Object makeObject(const std::vector<StringMap>& keys) {
    JSONValue::List list;
    for (const auto& key : keys) list.emplace_back(toJSONObject(key));
    return {{"keys", std::move(list)}};
}

void check(const JSONValue::Object& object) {
    std::optional<JsonWebKeySet> set;
    if (!errorTextOf([&] { set.emplace(object); }).empty()) return;
    require(!set->isEmpty(), "a set that is accepted has keys");
    const auto written = set->encodeToArray();
    for (const auto& key : written) {
        for (const auto& [name, value] : key) {
            require(!JOSE::isPrivateMember(name), "encodeToArray() writes no private value");
        }
    }
    const auto exported = JSONSerialization::jsonObject(set->encode());
    for (const auto& key : *exported.as<JSONValue::Object>()->at("keys").as<JSONValue::List>()) {
        for (const auto& [name, value] : *key.as<JSONValue::Object>()) {
            require(!JOSE::isPrivateMember(name), "encode() writes no private value");
        }
    }
    for (const auto& key : *set) {
        if (!key.pairingKey()) continue;
        require(JsonWebKey(*key.pairingKey(), key.use(), key.keyId()).thumbprint() == key.thumbprint(),
                "a private key belongs to its pairing key");
    }
    if (written.empty()) return;
    const JsonWebKeySet again(makeObject(written));
    require(again.encodeToArray() == written, "the public keys survive a round trip");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::optional<JSONValue> value;
    errorTextOf([&] { value = JSONSerialization::jsonObject(ByteView(data, size)); });
    if (const auto* object = value ? value->as<JSONValue::Object>() : nullptr) check(*object);
    return 0;
}
