#include "cli/message_advice.hpp"

#include <algorithm>
#include <iterator>

#include "cli/exit_code.hpp"
#include "cli/files.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/set_files.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;

constexpr auto otherCommands = "Use `torvane sign` and `torvane encrypt`, or `torvane nested encode`.";
constexpr auto otherCommandsToRead = "Use `torvane decrypt` and `torvane verify`, or `torvane nested decode`.";

std::string orDefault(const std::string& given, const char* otherwise) {
    return given.empty() ? otherwise : given;
}

std::string signatureAlgorithm(const MessageOptions& options) {
    return orDefault(options.jwsAlgorithm, "RS256");
}

std::string keyManagementAlgorithm(const MessageOptions& options) {
    return orDefault(options.keyManagementAlgorithm, "RSA-OAEP-256");
}

std::string contentEncryptionAlgorithm(const MessageOptions& options) {
    return orDefault(options.contentEncryptionAlgorithm, "A128CBC-HS256");
}

std::vector<JsonWebKey> select(const std::vector<JsonWebKey>& keys, JWKUse use, const std::string& keyId = {}) {
    std::vector<JsonWebKey> found;
    std::ranges::copy_if(keys, std::back_inserter(found), [&](const JsonWebKey& key) {
        return key.use() == use && (keyId.empty() || key.keyId() == keyId);
    });
    return found;
}

// Leaves the RSA keys, of which there must be one.
void requireRSA(std::vector<JsonWebKey>& keys, const std::string& place, const char* verb, const char* hint) {
    const auto first = keys.front();
    std::erase_if(keys, [](const JsonWebKey& key) { return !isRSA(key.key()); });
    if (!keys.empty()) return;
    throw Failure(ExitCode::key,
                  "The key " + inQuotes(first.keyId()) + place + " is on " + describeKind(first.key()) + "; " + verb +
                      " takes RSA keys.",
                  hint);
}

// The one key that fits; without an id, the only one.
void requireOne(std::vector<JsonWebKey> keys, const std::string& place, const std::string& algorithm,
                const std::string& choose) {
    requireRSA(keys, place, "encode", otherCommands);
    if (keys.size() > 1) {
        throw Failure(ExitCode::key, formatCount(keys.size(), "key") + " fit: " + listNames(listIds(keys)) + '.',
                      choose);
    }
    const auto why = explainMisfit(keys.front().key(), algorithm);
    if (!why) return;
    const bool isSmall = why->starts_with("has ");
    throw Failure(
        ExitCode::key, "The key " + inQuotes(keys.front().keyId()) + place + ' ' + *why + '.',
        isSmall ? makeLongerKey : std::string("encode takes RSA keys and their algorithms only. ") + otherCommands);
}

std::string naming(const std::string& keyId) {
    return keyId.empty() ? "KID" : keyId;
}

std::optional<TokenView> tryToParse(std::string_view token) {
    try {
        return parseToken(token);
    } catch (const Failure&) {
        return std::nullopt;
    }
}

// Throws if the token uses other algorithms than those that were asked for.
void rejectOtherAlgorithms(const TokenView& view, const MessageOptions& options, const std::exception_ptr& thrown) {
    std::string differences, wanted;
    const auto compare = [&](std::string_view name, const std::string& expected, const char* option) {
        const auto found = view.readHeaderMember(name);
        if (found == "none") throw Failure(ExitCode::signature, "The token is not signed: its algorithm is \"none\".");
        if (found.empty() || found == expected) return;
        differences += (differences.empty() ? "" : ", and ") + found + ", not " + expected;
        wanted += std::string(wanted.empty() ? "" : " ") + option + ' ' + found;
    };
    if (view.isEncrypted) {
        compare("alg", keyManagementAlgorithm(options), "--jwe-alg");
        compare("enc", contentEncryptionAlgorithm(options), "--jwe-enc");
    } else {
        compare("alg", signatureAlgorithm(options), "--jws-alg");
    }
    if (differences.empty()) return;
    throw Failure(
        chooseExitCode(thrown),
        std::string("The token is ") + (view.isEncrypted ? "encrypted" : "signed") + " with " + differences + '.',
        "If you accept that, give " + wanted + '.');
}

// The plaintext of the token; nothing if it cannot be decrypted.
std::optional<ByteBuffer> decryptAgain(const MessageOptions& options, const Parties& parties, std::string_view token,
                                       const std::string& keyId) {
    for (const auto& key : select(parties.own.jwks, JWKUse::JWK_ENC, keyId)) {
        try {
            return JWEDecrypter(keyManagementAlgorithm(options), contentEncryptionAlgorithm(options), key.platformKey())
                .decryptJWE(token);
        } catch (const Error&) {
        }
    }
    return std::nullopt;
}

// Looks for the reason in the token that was inside.
[[noreturn]] void explainInside(const MessageOptions& options, const Parties& parties, std::string_view inside,
                                const std::exception_ptr& thrown) {
    const auto view = looksLikeToken(asBytes(inside)) ? tryToParse(inside) : std::nullopt;
    if (!view || view->isEncrypted) {
        throw Failure(ExitCode::signature, "The token was decrypted, but there is no JWS inside.",
                      looksLikeTokenInSpace(asBytes(inside)) ? removeSpace : "Try `torvane decrypt`.");
    }
    const auto keyId = view->readHeaderMember("kid");
    const auto set = nameInput(options.peer);
    auto keys = select(parties.peer.jwks, JWKUse::JWK_SIG, keyId);
    if (keys.empty() && !keyId.empty()) {
        throw Failure(ExitCode::key, explainMissingKey(set, parties.peer.jwks, keyId, JWKUse::JWK_SIG),
                      "Ask the peer for a set with the key of this token.");
    }
    if (keys.empty()) throw addHint(thrown, "No key in " + set + " is for signatures.");
    requireRSA(keys, " in " + set, "decode", otherCommandsToRead);
    rejectOtherAlgorithms(*view, options, thrown);
    throw addHint(thrown, "The token was not signed with the key " + listNames(listIds(keys)) + " in " + set +
                              ", or was changed.");
}

}  // namespace

void checkEncoding(const MessageOptions& options, const Parties& parties) {
    auto signing = select(parties.own.jwks, JWKUse::JWK_SIG);
    if (signing.empty()) {
        throw Failure(ExitCode::key, "No key to sign with was given.",
                      "Give your private key: --own sig:" + naming(options.signWith) + "=URI.");
    }
    const auto named = select(signing, JWKUse::JWK_SIG, options.signWith);
    if (named.empty()) {
        throw Failure(
            ExitCode::key,
            "No key " + inQuotes(options.signWith) + " was given; there are " + listNames(listIds(signing)) + '.',
            "--sign-with takes an id from --own.");
    }
    requireOne(named, "", signatureAlgorithm(options),
               options.signWith.empty() ? "Choose one with --sign-with." : "Give only one of them with --own.");
    const auto set = nameInput(options.peer);
    const auto encrypting = select(parties.peer.jwks, JWKUse::JWK_ENC, options.encryptTo);
    if (encrypting.empty() && !options.encryptTo.empty()) {
        const auto all = select(parties.peer.jwks, JWKUse::JWK_ENC);
        throw Failure(ExitCode::key, explainMissingKey(set, parties.peer.jwks, options.encryptTo, JWKUse::JWK_ENC),
                      all.empty() ? "Ask the peer for a set with a key for encryption."
                                  : "--encrypt-to takes one of these: " + listNames(listIds(all)) + '.');
    }
    if (encrypting.empty()) {
        throw Failure(ExitCode::key, "No key in " + set + " is for encryption.",
                      "A key for encryption has \"use\": \"enc\"; `torvane jwks list` shows the keys.");
    }
    requireOne(encrypting, " in " + set, keyManagementAlgorithm(options),
               options.encryptTo.empty() ? "Choose one with --encrypt-to."
                                         : "Ask the peer to give each of its keys an id of its own.");
}

void checkDecoding(const MessageOptions& options, const Parties& parties, std::string_view token) {
    const auto view = tryToParse(token);
    if (!view) return;
    if (!view->isEncrypted) {
        throw Failure(ExitCode::decryption, "The token is signed, but not encrypted.",
                      "Use `torvane verify`, or `torvane inspect --peer`.");
    }
    const auto keyId = view->readHeaderMember("kid");
    const auto decrypting = select(parties.own.jwks, JWKUse::JWK_ENC);
    const auto give = "Give your private key: --own enc:" + naming(keyId) + "=URI.";
    if (decrypting.empty()) throw Failure(ExitCode::key, "No key to decrypt with was given.", give);
    auto named = select(decrypting, JWKUse::JWK_ENC, keyId);
    if (named.empty()) {
        const auto gave =
            decrypting.size() == 1 ? inQuotes(decrypting.front().keyId()) : listNames(listIds(decrypting));
        throw Failure(ExitCode::key, "The token is for " + inQuotes(keyId) + "; you gave " + gave + '.', give);
    }
    requireRSA(named, "", "decode", otherCommandsToRead);
    if (named.size() > 1) {
        throw Failure(ExitCode::key, formatCount(named.size(), "key") + " fit: " + listNames(listIds(named)) + '.',
                      "Give only one of them with --own.");
    }
    if (const auto why = explainMisfit(named.front().key(), keyManagementAlgorithm(options))) {
        throw Failure(ExitCode::key, "The key " + inQuotes(named.front().keyId()) + ' ' + *why + '.',
                      why->starts_with("has ") ? "Ask the peer to encrypt to a longer key." : otherCommandsToRead);
    }
}

void explainDecoding(const MessageOptions& options, const Parties& parties, std::string_view token,
                     const std::exception_ptr& thrown) {
    const auto view = tryToParse(token);
    if (!view) throw addHint(thrown, "decode takes a compact token: five parts with a dot between each two.");
    if (auto hint = explainAlgorithm(options); !hint.empty()) throw addHint(thrown, hint);
    if (const auto inside = decryptAgain(options, parties, token, view->readHeaderMember("kid"))) {
        explainInside(options, parties, asText(*inside), thrown);
    }
    rejectOtherAlgorithms(*view, options, thrown);
    const auto keyId = view->readHeaderMember("kid");
    throw addHint(thrown, (keyId.empty() ? "The token" : "The token names the key " + inQuotes(keyId) + ". It") +
                              " was changed, or was encrypted for another key; `torvane inspect` shows its parts.");
}

std::string explainAlgorithm(const MessageOptions& options) {
    if (!JOSE::fromRawValue<JOSE::SignatureAlgorithm>(signatureAlgorithm(options))) {
        return "--jws-alg takes RS256, RS384, RS512, PS256, PS384 or PS512.";
    }
    if (!JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(keyManagementAlgorithm(options))) {
        return "--jwe-alg takes RSA-OAEP, RSA-OAEP-256, RSA-OAEP-384 or RSA-OAEP-512.";
    }
    if (!JOSE::fromRawValue<JOSE::ContentEncryptionAlgorithm>(contentEncryptionAlgorithm(options))) {
        return "--jwe-enc takes A128CBC-HS256, A192CBC-HS384, A256CBC-HS512, A128GCM, A192GCM or A256GCM.";
    }
    return {};
}

}  // namespace Command
