#include "cli/set_files.hpp"

#include <algorithm>
#include <optional>

#include "cli/entry_verdict.hpp"
#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/file_uri.hpp"
#include "cli/files.hpp"
#include "cli/set_entry.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using namespace Torvane;

// Why a key of a set cannot be used.
std::string explainBadEntry(const SetEntry& entry, const std::exception_ptr& error) {
    const auto* type = stringMember(entry.members, "kty");
    const auto* curve = stringMember(entry.members, "crv");
    if (type != nullptr && *type == "oct") {
        return "It is a symmetric key (\"oct\"), which does not belong in a set for peers.";
    }
    if (curve != nullptr && *curve == Zennet::Secp256k1Utils::SECP256K1CURVE && entry.members.contains("alg")) {
        return "It is on secp256k1.";
    }
    const auto why = explainUnusable(entry);
    return why ? *why : describeError(error);
}

// Names the first key that fails the whole set. Does nothing if each key is good by itself.
void explainBadSet(const std::string& path, ByteView text) {
    std::vector<std::string> good;
    std::optional<std::string> bad;
    const auto entries = readSetEntries(text, nameInput(path));
    const auto verdicts = checkEntries(entries);
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const auto& entry = entries[i];
        const auto* keyId = stringMember(entry.members, "kid");
        const auto name = keyId != nullptr ? inQuotes(*keyId) : "number " + std::to_string(i + 1);
        try {
            const auto alone = JSONSerialization::data(
                JSONValue(JSONValue::Object{{"keys", JSONValue::List::of(JSONValue(entry.members))}}));
            static_cast<void>(JsonWebKeySet(alone));
            if (verdicts[i].faults.empty()) good.push_back(keyId != nullptr ? *keyId : name);
        } catch (const Error&) {
            if (!bad) {
                bad = "The key " + name + " in " + nameInput(path) +
                      " cannot be used: " + explainBadEntry(entry, std::current_exception());
            }
        }
    }
    if (!bad) return;
    throw Failure(ExitCode::key, *bad,
                  good.empty() ? "No other key of the set is good; `torvane jwks check` explains each."
                               : "Take it out of the set. These keys are good: " + listNames(good) + '.');
}

// A set is a key file: its errors exit with the code for keys.
ByteBuffer readSetFile(const std::string& path) {
    rejectURL(path);
    try {
        return readInput(readPath(path));
    } catch (const Failure& failure) {
        throw Failure(failure.code() == ExitCode::file ? ExitCode::key : failure.code(), failure.what(),
                      failure.hint());
    }
}

}  // namespace

ByteBuffer readSetText(const std::string& path) {
    auto content = readSetFile(path);
    const auto kind = recogniseFile(content);
    std::string hint;
    switch (kind) {
        case FileKind::jwk:
        case FileKind::set:
        case FileKind::json:
        case FileKind::other: return content;
        case FileKind::pem:
        case FileKind::der: hint = "`torvane jwks make sig=FILE` makes a set of a key file."; break;
        case FileKind::token: hint = "`torvane inspect` shows it."; break;
        case FileKind::jsonToken:
        case FileKind::empty: break;
    }
    throw Failure(ExitCode::key,
                  nameInput(path) + ' ' + std::string(describeFile(kind)) + "; a JWK Set is needed here.", hint);
}

JsonWebKeySet parseSet(const std::string& path, ByteView text) {
    if (recogniseFile(text) == FileKind::jwk) {
        throw Failure(ExitCode::key, nameInput(path) + " is a JWK; a JWK Set is needed here.",
                      "Put it into a set: {\"keys\": [JWK]}.");
    }
    try {
        return JsonWebKeySet(text);
    } catch (const Error&) {
        const auto thrown = std::current_exception();
        explainBadSet(path, text);
        throw addHint(thrown, "`torvane jwks check` explains what is wrong with each key.");
    }
}

std::vector<std::string> listIds(const std::vector<JsonWebKey>& keys) {
    std::vector<std::string> ids;
    ids.reserve(keys.size());
    for (const auto& key : keys) ids.push_back(key.keyId());
    return ids;
}

std::string explainMissingKey(const std::string& set, const std::vector<JsonWebKey>& keys, const std::string& keyId,
                              JWKUse use) {
    const auto found = std::ranges::find(keys, keyId, &JsonWebKey::keyId);
    const bool isSigning = use == JWKUse::JWK_SIG;
    if (found == keys.end()) {
        return "No key " + inQuotes(keyId) + " in " + set + "; it has " +
               (keys.empty() ? "no keys" : listNames(listIds(keys))) + '.';
    }
    const auto name = "The key " + inQuotes(keyId) + " in " + set;
    if (found->use() == JWKUse::JWK_SIG_ENC) {
        return name + " has no \"use\"; it needs " + (isSigning ? "\"sig\"." : "\"enc\".");
    }
    return name + (isSigning ? " is for encryption, not for signatures." : " is for signatures, not for encryption.");
}

}  // namespace Command
