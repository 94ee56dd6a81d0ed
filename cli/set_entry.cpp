#include "cli/set_entry.hpp"

#include "cli/exit_code.hpp"

namespace Command {
namespace {

using namespace Torvane;

JsonWebKey readKey(const JSONValue::Object& members) {
    const auto* curve = stringMember(members, "crv");
    if (curve != nullptr && *curve == Zennet::Secp256k1Utils::SECP256K1CURVE) {
        return JsonWebKeySet(JSONValue::Object{{"keys", JSONValue::List::of(members)}}).jwks.front();
    }
    return JsonWebKey(JOSE::JWK::initFrom(members));
}

}  // namespace

SetEntry readSetEntry(const JSONValue& element) {
    SetEntry entry;
    entry.content = element;
    try {
        const auto* members = element.as<JSONValue::Object>();
        if (members == nullptr) throw JOSE::JOSESwiftError::parsingFailed("The JWK is not a JSON object.");
        entry.members = *members;
        const auto key = readKey(*members);
        entry.thumbprint = key.thumbprint();
        const bool hasId = stringMember(*members, "kid") != nullptr;
        entry.key = hasId ? key : JsonWebKey(key.key(), key.use(), entry.thumbprint);
    } catch (const Error&) {
        entry.error = std::current_exception();
    }
    return entry;
}

std::vector<SetEntry> readSetEntries(ByteView text, const std::string& name) {
    JSONValue json;
    try {
        json = JSONSerialization::jsonObject(text);
    } catch (const JSONError& error) {
        throw Failure(ExitCode::key, "Cannot read the key set " + name + ": " + error.errorDescription());
    }
    const auto* object = json.as<JSONValue::Object>();
    const auto keys = object == nullptr ? JSONValue::Object::const_iterator() : object->find("keys");
    const auto* list = object == nullptr || keys == object->end() ? nullptr : keys->second.as<JSONValue::List>();
    if (list == nullptr && (object == nullptr || !object->contains("kty"))) {
        throw Failure(ExitCode::key, name + " is neither a JWK Set nor a JWK.");
    }
    std::vector<SetEntry> entries;
    for (const auto& element : list != nullptr ? *list : JSONValue::List::of(json)) {
        entries.push_back(readSetEntry(element));
    }
    return entries;
}

}  // namespace Command
