#include "cli/inspection_keys.hpp"

#include <algorithm>
#include <exception>
#include <iterator>
#include <utility>

#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_choice.hpp"
#include "cli/key_spec.hpp"
#include "cli/set_files.hpp"
#include "cli/text.hpp"

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
    for (const auto& entry : readSetEntries(readSetText(path))) {
        if (const auto key = findKey(entry)) {
            keys.peer->push_back(describeEntry(key->keyId(), entry.members, *key));
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

bool isFor(const TokenView& view, const GivenKey& key) noexcept {
    return view.isEncrypted ? key.use != JWKUse::JWK_SIG && key.key.keyRef() : key.use != JWKUse::JWK_ENC;
}

bool hasKeyId(const GivenKey& key, const std::string& keyId) {
    return !keyId.empty() && (key.keyId == keyId || key.thumbprint() == keyId);
}

std::vector<JsonWebKey> asJsonWebKeys(const std::vector<GivenKey>& keys) {
    std::vector<JsonWebKey> all;
    for (const auto& key : keys) all.emplace_back(key.key, key.use, key.tokenKeyId());
    return all;
}

// What is wrong when none of the keys opens the token, and what to do.
[[noreturn]] void explainUnopened(const TokenView& view, const InspectionKeys& keys,
                                  const std::vector<GivenKey>& candidates, const std::exception_ptr& lastError) {
    const auto keyId = view.readHeaderMember("kid");
    const bool isKnown = std::ranges::any_of(candidates, [&](const auto& key) { return hasKeyId(key, keyId); });
    if (!view.isEncrypted && !keyId.empty() && !isKnown) {
        rejectUnreadable(keys, keyId);
        throw Failure(ExitCode::key,
                      explainMissingKey(keys.peerName, asJsonWebKeys(*keys.peer), keyId, JWKUse::JWK_SIG),
                      "Ask the peer for a set with the key of this token.");
    }
    if (candidates.empty()) {
        throw Failure(ExitCode::key,
                      std::string("No key was given to ") + (view.isEncrypted ? "decrypt" : "verify") + " the token.",
                      view.isEncrypted ? adviseToGiveKey(view) : "No key in " + keys.peerName + " is for signatures.");
    }
    const bool allHaveIds = std::ranges::all_of(candidates, [](const auto& key) { return key.keyId.has_value(); });
    if (view.isEncrypted && !keyId.empty() && !isKnown && allHaveIds) {
        std::vector<std::string> ids;
        std::ranges::transform(candidates, std::back_inserter(ids), &GivenKey::tokenKeyId);
        throw Failure(ExitCode::key,
                      "The token is for " + inQuotes(keyId) + "; you gave " +
                          (ids.size() == 1 ? inQuotes(ids[0]) : listNames(ids)) + '.',
                      adviseToGiveKey(view));
    }
    const auto& last = candidates.back();
    const auto why = explainMisfit(last.key, view.readHeaderMember("alg"));
    throw addHint(lastError, why                ? "The key " + inQuotes(last.name) + ' ' + *why + '.'
                             : view.isEncrypted ? "The token was changed, or was encrypted for another key."
                                                : "The token was changed, or was signed with another key.");
}

// Tries the keys that have the token's key id, or all keys if none has it. Returns the key that opens it.
template <class Open>
GivenKey openWith(const InspectionKeys& keys, const TokenView& view, Open open) {
    std::vector<GivenKey> candidates;
    std::ranges::copy_if(view.isEncrypted ? keys.own : *keys.peer, std::back_inserter(candidates),
                         [&](const auto& key) { return isFor(view, key); });
    const auto isNamed = [&](const GivenKey& key) { return hasKeyId(key, view.readHeaderMember("kid")); };
    if (std::ranges::any_of(candidates, isNamed)) {
        std::erase_if(candidates, [&](const auto& key) { return !isNamed(key); });
    }
    const auto fits = [&](const GivenKey& key) { return !explainMisfit(key.key, view.readHeaderMember("alg")); };
    // Keys of another kind cannot open the token; they only stay to explain why, if there are no others.
    if (std::ranges::any_of(candidates, fits)) {
        std::erase_if(candidates, [&](const auto& key) { return !fits(key); });
    }
    std::exception_ptr lastError;
    for (const auto& key : candidates) {
        try {
            open(key);
            return key;
        } catch (const Error&) {
            lastError = std::current_exception();
        }
    }
    explainUnopened(view, keys, candidates, lastError);
}

// A key may open a token that its own JWK forbids.
template <class Algorithm>
void warnOfProhibition(Layer& layer, Algorithm algorithm, KeyClass keyClass, const char* command) {
    const auto why = explainMisfit(*layer.key, algorithm, keyClass);
    if (why.empty()) return;
    layer.view.warnings.push_back("The key " + makePrintable(why) + ": `" + command + "` does not use it.");
}

}  // namespace

InspectionKeys openInspectionKeys(const InspectOptions& options) {
    InspectionKeys keys{openOwn(options.own, options.secret)};
    if (!options.peer.empty()) readPeer(keys, options.peer);
    return keys;
}

ByteBuffer decryptLayer(Layer& layer, std::string_view token, const InspectionKeys& keys) {
    const auto algorithm = JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(layer.view.readHeaderMember("alg")).value();
    ByteBuffer plaintext;
    layer.key = openWith(keys, layer.view, [&](const GivenKey& key) {
        const JWEDecrypter decrypter(layer.view.readHeaderMember("alg"), layer.view.readHeaderMember("enc"),
                                     key.key.keyRef().value());
        plaintext = decrypter.decryptJWE(token);
    });
    warnOfProhibition(layer, algorithm, KeyClass::privateKey, "torvane decrypt");
    return plaintext;
}

void verifyLayer(Layer& layer, std::string_view token, const InspectionKeys& keys) {
    const auto algorithm = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(layer.view.readHeaderMember("alg")).value();
    layer.key = openWith(keys, layer.view, [&](const GivenKey& key) {
        static_cast<void>(JWSVerifier(algorithm, JsonWebKey(key.key, JWKUse::JWK_SIG, {})).verifyJWS(token));
    });
    warnOfProhibition(layer, algorithm, KeyClass::publicKey, "torvane verify");
}

std::string adviseToGiveKey(const TokenView& view) {
    const auto keyId = view.readHeaderMember("kid");
    return "Give your private key: --own enc:" + (keyId.empty() ? "KID" : keyId) + "=URI.";
}

}  // namespace Command
