#include <algorithm>
#include <filesystem>
#include <functional>
#include <iostream>
#include <optional>

#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/file_kind.hpp"
#include "cli/file_uri.hpp"
#include "cli/key_algorithms.hpp"
#include "cli/key_opening.hpp"
#include "cli/key_spec.hpp"
#include "cli/pkcs11_uri.hpp"
#include "cli/secrets.hpp"
#include "cli/similar.hpp"
#include "cli/terminal.hpp"
#include "cli/text.hpp"

namespace Command {
namespace {

using Torvane::EllipticCurve;
using Torvane::JSONValue;
using Torvane::LastPinTry;
using Torvane::SecretSource;
using Torvane::Zennet::Key;
using Torvane::Zennet::KeyClass;

struct KeyKind {
    std::string_view name;
    std::function<Key(std::string_view uri, const SecretSource& askForSecret, LastPinTry lastPinTry)> make;
};

KeyKind makeRSAKind(std::string_view name, std::size_t bits) {
    return {name, [bits](auto uri, const auto& askForSecret, auto lastPinTry) {
                return Key(Torvane::generateRSAKeyAt(uri, bits, askForSecret, lastPinTry));
            }};
}

KeyKind makeECKind(std::string_view name, EllipticCurve curve) {
    return {name, [curve](auto uri, const auto& askForSecret, auto lastPinTry) {
                return Key(Torvane::generateECKeyAt(uri, curve, askForSecret, lastPinTry));
            }};
}

std::vector<KeyKind> makeKinds() {
    return {makeRSAKind("RSA-2048", 2048),
            makeRSAKind("RSA-3072", 3072),
            makeRSAKind("RSA-4096", 4096),
            makeECKind("P-256", EllipticCurve::P256),
            makeECKind("P-384", EllipticCurve::P384),
            makeECKind("P-521", EllipticCurve::P521),
            {"secp256k1", [](auto uri, const auto& askForSecret, auto) {
                 return Key(Torvane::Zennet::generateSecp256k1KeyAt(uri, askForSecret));
             }}};
}

bool isSameKind(std::string_view name, std::string_view given) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    return std::ranges::equal(name, given, {}, lower, lower);
}

// Rejects what would fail after the user has typed a passphrase, or after a long generation.
void checkDestination(const NewKeyOptions& options) {
    if (options.uri == "-") {
        throw Failure(ExitCode::usage, "A private key is not written to standard output.",
                      "Name a new file, or a key in a PKCS #11 token.");
    }
    if (Torvane::isPkcs11URI(options.uri)) {
        if (options.isEncrypted) {
            throw Failure(ExitCode::usage, "--encrypt is for files: a PKCS #11 token protects its keys itself.",
                          "Leave out --encrypt; --secret-file gives the PIN.");
        }
        if (!namesObject(options.uri)) {
            throw Failure(ExitCode::usage, "The new key needs a name in the PKCS #11 token.",
                          "Add one to the URI: " + withoutPin(options.uri) +
                              (options.uri.find('=') < options.uri.find('?') ? ";" : "") + "object=NAME");
        }
        return;
    }
    rejectURL(options.uri);
    if (const auto size = measureKeyPurpose(options.uri); size > 0) {
        throw Failure(ExitCode::usage, "The URI of a new key stands alone, without a use and an id.",
                      "Leave out " + inQuotes(options.uri.substr(0, size)) + "; `torvane jwks make` takes it.");
    }
    std::error_code none;
    if (std::filesystem::exists(readPath(options.uri), none)) {
        throw Failure(ExitCode::key, "The file " + inQuotes(readPath(options.uri)) + " cannot be written: File exists.",
                      "A key is never overwritten: choose another name.");
    }
}

// Opens the private key or, if there is none, the public key. Asks for the passphrase at most once.
Key openAnyKey(const std::string& uri, const SecretSource& askForSecret, LastPinTry lastPinTry) {
    using enum Torvane::KeyStoreError::Case;
    const auto file = findKeyFile(uri);
    std::optional<Torvane::SecretBuffer> answer;
    try {
        return Torvane::Zennet::openKey(
            file, KeyClass::privateKey, [&](auto description) { return answer = askForSecret(description); },
            lastPinTry);
    } catch (const Torvane::KeyStoreError& error) {
        if (error.errorCase() != keyNotFound) rethrowForKey(file);
    }
    try {
        return Torvane::Zennet::openKey(file, KeyClass::publicKey, [&](auto) { return answer; });
    } catch (const Torvane::KeyStoreError& error) {
        if (uri == "-" && error.errorCase() == keyNotFound) {
            throw Failure(ExitCode::key, "Standard input has no private key.",
                          "`torvane key show --public -` shows a public key or a certificate.");
        }
        rethrowForKey(file);
    }
}

// Opens the public key. A PKCS #11 token may let it be found only after the PIN, which is not asked for.
Key openPublicKey(const ShowKeyOptions& options) {
    const auto& uri = options.uri;
    const auto& secret = options.secret;
    if (!Torvane::isPkcs11URI(uri) || !secret.file.empty()) {
        return openKeyFrom(uri, KeyClass::publicKey, makeSecretSource(secret.file), secret.lastPinTry());
    }
    bool wasAsked = false;
    const auto askNobody = [&](std::string_view) -> std::optional<Torvane::SecretBuffer> {
        wasAsked = true;
        return std::nullopt;
    };
    try {
        return openKeyFrom(uri, KeyClass::publicKey, askNobody, secret.lastPinTry());
    } catch (const std::exception&) {
        if (!wasAsked) throw;
        const auto name = Torvane::Pkcs11KeyStore(findKeyFile(uri)).keyName().label;
        throw Failure(ExitCode::key,
                      "The PKCS #11 token shows no public key" + (name.empty() ? "" : ' ' + inQuotes(name)) +
                          " and no such certificate without its PIN.",
                      "`torvane key show` without --public asks for the PIN, and looks for the private key.");
    }
}

using Rows = std::vector<std::pair<std::string, std::string>>;

Rows describeKey(const Key& key) {
    const auto kind = describeKind(key);
    const bool isRSA = kind.starts_with("RSA");
    const auto name = key.keyRef() ? key.keyRef()->name() : Torvane::KeyName();
    Rows rows{{"family", isRSA ? "RSA" : "EC"},
              isRSA ? std::pair("size", kind.substr(4)) : std::pair("curve", kind),
              {"class", key.isPublicKey() ? "public" : "private"},
              {"thumbprint", Torvane::JsonWebKey(key, Torvane::JWKUse::JWK_SIG, {}).thumbprint()}};
    if (!name.label.empty()) rows.emplace_back("label", makePrintable(name.label));
    return rows;
}

JSONValue::Object asJSON(const Rows& rows) {
    JSONValue::Object object;
    for (const auto& [member, value] : rows) {
        if (member == "size") {
            object[member] = std::stoi(value);
        } else {
            object[member] = value;
        }
    }
    return object;
}

}  // namespace

std::vector<std::string> listKeyKinds() {
    std::vector<std::string> names;
    for (const auto& kind : makeKinds()) names.emplace_back(kind.name);
    return names;
}

Key createKey(const NewKeyOptions& options) {
    const auto all = makeKinds();
    const auto kind =
        std::ranges::find_if(all, [&](const KeyKind& each) { return isSameKind(each.name, options.kind); });
    if (kind == all.end()) {
        // The text is not quoted: it may be a misplaced URI with a PIN.
        const auto similar = findSimilar(options.kind, listKeyKinds());
        throw Failure(ExitCode::usage, "The kind of key must be one of " + join(listKeyKinds()) + '.',
                      similar.empty() ? similar : "Did you mean \"" + similar + "\"?");
    }
    checkDestination(options);
    // A PKCS #11 token needs its PIN; a file is encrypted only on request.
    const bool isEncrypted = options.isEncrypted || !options.secret.file.empty();
    const auto askForSecret = Torvane::isPkcs11URI(options.uri) ? makeSecretSource(options.secret.file)
                              : isEncrypted                     ? makeNewSecretSource(options.secret.file)
                                                                : SecretSource();
    return kind->make(findKeyFile(options.uri), askForSecret, options.secret.lastPinTry());
}

void newKey(const NewKeyOptions& options) {
    const auto key = createKey(options);
    const auto rows = describeKey(key);
    if (options.asJSON) {
        auto object = asJSON(rows);
        object["uri"] = withoutPin(options.uri);
        std::cout << formatJSON(object) << '\n';
        return;
    }
    std::cout << "Created " << makePrintable(withoutPin(options.uri)) << ": " << describeKind(key) << ", thumbprint "
              << std::ranges::find(rows, "thumbprint", &Rows::value_type::first)->second << '\n';
}

void showKey(const ShowKeyOptions& options) {
    const auto key = options.isPublic
                         ? openPublicKey(options)
                         : openAnyKey(options.uri, makeSecretSource(options.secret.file), options.secret.lastPinTry());
    auto rows = describeKey(key);
    if (options.asJSON) {
        std::cout << formatJSON(asJSON(rows)) << '\n';
        return;
    }
    if (rows[1].first == "size") rows[1].second += " bits";
    std::cout << formatNames(rows, choosePalette());
}

}  // namespace Command
