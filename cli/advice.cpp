#include "cli/advice.hpp"

#include <algorithm>
#include <filesystem>

#include "cli/entry_verdict.hpp"
#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/file_uri.hpp"
#include "cli/files.hpp"
#include "cli/keys.hpp"
#include "cli/pkcs11_uri.hpp"
#include "cli/text.hpp"
#include "cli/token_view.hpp"

namespace Command {
namespace {

using namespace Torvane;
using Zennet::KeyClass;

constexpr std::size_t minimumBits = 2048;

// What a signature or key management algorithm needs: a curve, several of them, or an RSA key.
std::optional<std::string> describeNeed(std::string_view algorithm) {
    if (const auto known = JOSE::fromRawValue<JOSE::SignatureAlgorithm>(algorithm)) {
        const auto row = JOSE::parameters(*known);
        if (row.scheme != SignatureScheme::ECDSA) return "an RSA key";
        if (!row.curve) return "one on secp256k1";
        return row.curve == EllipticCurve::P256   ? "one on P-256"
               : row.curve == EllipticCurve::P384 ? "one on P-384"
                                                  : "one on P-521";
    }
    if (const auto known = JOSE::fromRawValue<JOSE::KeyManagementAlgorithm>(algorithm)) {
        const auto row = JOSE::parameters(*known);
        return row.isKeyAgreement() ? "one on P-256, P-384 or P-521" : "an RSA key";
    }
    return std::nullopt;
}

std::size_t countModulusBits(const Zennet::Key& key) {
    return countBits(std::get<RSAPublicComponents>(key.keyRef().value().publicComponents()).modulus);
}

// Why a key of a set cannot be used.
std::string explainBadEntry(const SetEntry& entry, const std::exception_ptr& error) {
    const auto* type = stringMember(entry.members, "kty");
    const auto* curve = stringMember(entry.members, "crv");
    if (type != nullptr && *type == "oct") {
        return "It is a symmetric key (\"oct\"), which does not belong in a set for peers.";
    }
    if (curve != nullptr && *curve == Zennet::Secp256k1Utils::SECP256K1CURVE) {
        return std::string("It is on secp256k1") +
               (entry.members.contains("alg") ? "." : ", and has no \"alg\" with the value ES256K.");
    }
    const auto why = explainUnusable(entry);
    return why ? *why : describeError(error);
}

// Names the first key that fails the whole set. Does nothing if each key is good by itself.
void explainBadSet(const std::string& path, ByteView text) {
    std::vector<std::string> good;
    std::optional<std::string> bad;
    const auto entries = readSetEntries(text);
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

// Explains a file that is no key file, as far as the file can be read again.
void explainKeyFile(const std::string& uri) {
    std::error_code none;
    if (isPkcs11URI(uri) || !std::filesystem::is_regular_file(uri, none)) return;
    const auto kind = recogniseFile(readKeyFile(uri));
    const bool isJWK = kind == FileKind::set || kind == FileKind::jwk;
    if (!isJWK && kind != FileKind::token && kind != FileKind::empty) return;
    throw Failure(
        ExitCode::key,
        nameInput(uri) + ' ' + std::string(describeFile(kind)) + "; a PEM, DER or PKCS #12 file is needed here.",
        isJWK                     ? "`torvane jwks list` and `torvane jwks check` show it, and --peer takes it."
        : kind == FileKind::token ? "`torvane inspect` shows it."
                                  : "");
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

std::string listNames(const std::vector<std::string>& names) {
    constexpr std::size_t most = 5;
    std::string list;
    for (std::size_t i = 0; i < std::min(names.size(), most); ++i) list += (i == 0 ? "" : ", ") + names[i];
    if (names.size() > most) list += " and " + std::to_string(names.size() - most) + " more";
    return list.empty() ? "none" : list;
}

std::vector<std::string> listIds(const std::vector<JsonWebKey>& keys) {
    std::vector<std::string> ids;
    ids.reserve(keys.size());
    for (const auto& key : keys) ids.push_back(key.keyId());
    return ids;
}

std::string inQuotes(std::string_view text) {
    return '"' + std::string(text) + '"';
}

bool isRSA(const Zennet::Key& key) noexcept {
    return key.keyRef() && std::holds_alternative<RSAPublicComponents>(key.keyRef()->publicComponents());
}

std::optional<std::string> explainMisfit(const Zennet::Key& key, std::string_view algorithm) {
    const auto need = describeNeed(algorithm);
    if (!need) return std::nullopt;
    const bool needsRSA = *need == "an RSA key";
    if (isRSA(key) && needsRSA) {
        const auto bits = countModulusBits(key);
        if (bits >= minimumBits) return std::nullopt;
        return "has " + formatCount(bits, "bit") + ", which are too few; at least " + std::to_string(minimumBits) +
               " are needed";
    }
    const auto fitting = listAlgorithms(key, JWKUse::JWK_SIG_ENC);
    if (std::ranges::find(fitting, algorithm) != fitting.end()) return std::nullopt;
    return (isRSA(key) ? "is an RSA key" : "is on " + describeKind(key)) + "; " + std::string(algorithm) + " needs " +
           *need;
}

std::string explainMissingKey(const std::string& set, const std::vector<JsonWebKey>& keys, const std::string& keyId,
                              JWKUse use) {
    const auto found = std::ranges::find(keys, keyId, &JsonWebKey::keyId);
    const bool isSigning = use == JWKUse::JWK_SIG;
    if (found == keys.end()) {
        return "No key " + inQuotes(keyId) + " in " + set + "; it has " + listNames(listIds(keys)) + '.';
    }
    const auto name = "The key " + inQuotes(keyId) + " in " + set;
    if (found->use() == JWKUse::JWK_SIG_ENC) {
        return name + " has no \"use\"; it needs " + (isSigning ? "\"sig\"." : "\"enc\".");
    }
    return name + (isSigning ? " is for encryption, not for signatures." : " is for signatures, not for encryption.");
}

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

std::string findKeyFile(const std::string& uri) {
    if (uri == "-") {
        claimStandardInput();
        return "/dev/stdin";
    }
    rejectURL(uri);
    return isPkcs11URI(uri) ? chooseDriver(uri) : uri;
}

void rethrowForKey(const std::string& uri) {
    const auto thrown = std::current_exception();
    const auto* error = findError<KeyStoreError>(thrown);
    if (error == nullptr) std::rethrow_exception(thrown);
    if (!isPkcs11URI(uri)) {
        if (error->errorCase() == KeyStoreError::Case::keyNotFound) explainKeyFile(uri);
        std::rethrow_exception(thrown);
    }
    const bool isNameMissing = error->errorCase() == KeyStoreError::Case::keyNotFound && !namesObject(uri);
    throw Failure(chooseExitCode(thrown), shortenLists(error->errorDescription()),
                  isNameMissing ? "Name the key: add object=LABEL to the path of the URI." : findHint(thrown));
}

Zennet::Key openKeyFrom(const std::string& uri, KeyClass keyClass, const SecretSource& askForSecret,
                        LastPinTry lastPinTry) {
    const auto found = findKeyFile(uri);
    try {
        return Zennet::openKey(found, keyClass, askForSecret, lastPinTry);
    } catch (const KeyStoreError&) {
        rethrowForKey(found);
    }
}

}  // namespace Command
