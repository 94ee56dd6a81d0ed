#include "cli/inspection_keys.hpp"

#include <algorithm>
#include <exception>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_spec.hpp"
#include "cli/set_files.hpp"
#include "cli/text.hpp"
#include "cli/token_decryption.hpp"
#include "cli/token_verification.hpp"

namespace Command {
namespace {

using namespace Torvane;

// Whether the text is USE[:KID]=URI, or meant to be; any other text is FILE[#KID].
bool startsWithUse(std::string_view text) {
    const auto end = text.find_first_of(":=");
    if (end == text.npos) return false;
    const auto purpose = text.substr(0, end);
    const auto slash = purpose.find('/');
    const bool isFolder = slash != purpose.npos && !isAlgorithm(purpose.substr(slash + 1));
    return !isFolder && fromRawValue<JWKUse>(purpose.substr(0, slash)).has_value();
}

std::vector<GivenKey> openFile(const std::string& text, const SecretOptions& secret) {
    try {
        return openKeys({text}, KeyClass::privateKey, "decrypting", secret);
    } catch (...) {
        if (isPkcs11URI(text) || text.find('=') == text.npos) throw;
        throw addHint(std::current_exception(),
                      "In USE[:KID]=URI, USE is sig, enc or sig_enc; any other text is the name of a file.");
    }
}

std::vector<GivenKey> openOwn(const std::vector<std::string>& texts, const SecretOptions& secret) {
    std::vector<GivenKey> keys;
    for (const auto& text : texts) {
        if (!startsWithUse(text)) {
            for (auto& key : openFile(text, secret)) keys.push_back(std::move(key));
            continue;
        }
        for (const auto& key : openOwnKeys({text}, secret).jwks) {
            keys.push_back({key.keyId(), key.key(), key.keyId(), key.use()});
        }
    }
    return keys;
}

// Also reads a key that JsonWebKeySet rejects, such as one on secp256k1 without "alg".
std::optional<JsonWebKey> findKey(const SetEntry& entry) {
    if (entry.key) return entry.key;
    const JSONValue::Object set{{"keys", JSONValue::List::of(entry.content)}};
    const auto known = JsonWebKeySet::readKnown(JSONSerialization::data(set)).set.jwks;
    return known.empty() ? std::nullopt : std::optional(known.front());
}

void readPeer(InspectionKeys& keys, const std::string& path) {
    keys.peer.emplace();
    keys.peerName = nameInput(path);
    for (const auto& entry : readSetEntries(readSetText(path), keys.peerName)) {
        if (const auto key = findKey(entry)) {
            const auto name = (path == "-" ? "standard input" : path) + '#' + key->keyId();
            keys.peer->push_back(describeEntry(name, entry.members, *key));
        } else {
            keys.unreadable.push_back(entry);
        }
    }
}

// Throws if a key has the id, but could not be read.
void rejectUnreadable(const InspectionKeys& keys, const std::string& keyId) {
    const auto isNamed = [&](const SetEntry& entry) {
        const auto* id = stringMember(entry.members, "kid");
        return id != nullptr && *id == keyId;
    };
    const auto found = std::ranges::find_if(keys.unreadable, isNamed);
    if (found == keys.unreadable.end()) return;
    throw Failure(
        ExitCode::key,
        "The key " + inQuotes(keyId) + " in " + keys.peerName + " cannot be used: " + describeError(found->error),
        "`torvane jwks check` explains what is wrong with each key.");
}

// Throws if no key of the peer can be meant by the token's "kid".
void requireNamedKey(const TokenView& view, const InspectionKeys& keys, const std::string& hint) {
    const auto keyId = view.readHeaderMember("kid");
    if (keyId.empty() || std::ranges::any_of(*keys.peer, [&](const auto& key) { return key.mayHaveId(keyId); })) return;
    rejectUnreadable(keys, keyId);
    std::vector<JsonWebKey> all;
    for (const auto& key : *keys.peer) all.emplace_back(key.key, key.use, key.tokenKeyId());
    throw Failure(ExitCode::key, explainMissingKey(keys.peerName, all, keyId, JWKUse::JWK_SIG), hint);
}

// The first key that opens a token, whatever the token and its JWK say of it.
template <class Open>
const GivenKey* findOpeningKey(const std::vector<GivenKey>& keys, std::string_view algorithm, Open open) {
    for (const auto& key : keys) {
        if (explainMisfit(key.key, algorithm)) continue;
        try {
            open(key);
            return &key;
        } catch (const Error&) {
            continue;
        }
    }
    return nullptr;
}

}  // namespace

InspectionKeys openInspectionKeys(const InspectOptions& options) {
    InspectionKeys keys{openOwn(options.own, options.secret)};
    if (!options.peer.empty()) readPeer(keys, options.peer);
    return keys;
}

ByteBuffer decryptLayer(Layer& layer, std::string_view token, const InspectionKeys& keys) {
    const auto& view = layer.view;
    if (keys.own.empty()) {
        throw Failure(ExitCode::key, "No key was given to decrypt the token.", adviseToGiveKey(view));
    }
    try {
        auto decrypted = decryptToken(token, keys.own, {});
        layer.key = std::move(decrypted.key);
        return std::move(decrypted.plaintext);
    } catch (const Failure& failure) {
        const auto algorithm = view.readHeaderMember("alg");
        ByteBuffer plaintext;
        const auto* key = findOpeningKey(keys.own, algorithm, [&](const GivenKey& each) {
            plaintext =
                JWEDecrypter(algorithm, view.readHeaderMember("enc"), each.key.keyRef().value()).decryptJWE(token);
        });
        if (key == nullptr && failure.code() == ExitCode::key) {
            throw addHint(std::current_exception(), adviseToGiveKey(view));
        }
        if (key == nullptr) throw;
        layer.key = *key;
        layer.view.warnings.push_back("`torvane decrypt` rejects the token. " + makePrintable(failure.what()));
        return plaintext;
    }
}

void verifyLayer(Layer& layer, std::string_view token, const InspectionKeys& keys) {
    try {
        layer.key = verifyToken(token, *keys.peer, {}, {}).key;
    } catch (const Failure& failure) {
        const auto algorithm = layer.view.readHeaderMember("alg");
        const auto* key = findOpeningKey(*keys.peer, algorithm, [&](const GivenKey& each) {
            static_cast<void>(JWSVerifier(algorithm, JsonWebKey(each.key, JWKUse::JWK_SIG, {})).verifyJWS(token));
        });
        const auto hint = key == nullptr ? std::string() : "The signature is by " + key->name + '.';
        if (failure.code() == ExitCode::key) {
            requireNamedKey(layer.view, keys,
                            hint.empty() ? "Ask the peer for a set with the key of this token." : hint);
        }
        if (key == nullptr) throw;
        throw Failure(failure.code(), failure.what(), hint);
    }
}

std::string adviseToGiveKey(const TokenView& view) {
    const auto keyId = view.readHeaderMember("kid");
    return "Give your private key: --own enc:" + (keyId.empty() ? "KID" : keyId) + "=URI.";
}

}  // namespace Command
