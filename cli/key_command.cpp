#include <algorithm>
#include <functional>
#include <iostream>
#include <optional>

#include "cli/advice.hpp"
#include "cli/commands.hpp"
#include "cli/exit_code.hpp"
#include "cli/keys.hpp"
#include "cli/terminal.hpp"

namespace Command {
namespace {

using Torvane::EllipticCurve;
using Torvane::JSONValue;
using Torvane::LastPinTry;
using Torvane::SecretSource;
using Torvane::Zennet::KeyClass;

struct KeyKind {
    std::string_view name;
    std::function<void(std::string_view uri, const SecretSource& askForSecret, LastPinTry lastPinTry)> make;
};

KeyKind makeRSAKind(std::string_view name, std::size_t bits) {
    return {name, [bits](auto uri, const auto& askForSecret, auto lastPinTry) {
                Torvane::generateRSAKeyAt(uri, bits, askForSecret, lastPinTry);
            }};
}

KeyKind makeECKind(std::string_view name, EllipticCurve curve) {
    return {name, [curve](auto uri, const auto& askForSecret, auto lastPinTry) {
                Torvane::generateECKeyAt(uri, curve, askForSecret, lastPinTry);
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
                 Torvane::Zennet::generateSecp256k1KeyAt(uri, askForSecret);
             }}};
}

// Opens the private key or, if there is none, the public key. Asks for the passphrase at most once.
Torvane::Zennet::Key openAnyKey(const std::string& uri, const SecretSource& askForSecret, LastPinTry lastPinTry) {
    using enum Torvane::KeyStoreError::Case;
    std::optional<Torvane::SecretBuffer> answer;
    try {
        return openKeyFrom(
            uri, KeyClass::privateKey, [&](auto description) { return answer = askForSecret(description); },
            lastPinTry);
    } catch (const Torvane::KeyStoreError& error) {
        if (error.errorCase() != keyNotFound) throw;
        return openKeyFrom(
            uri, KeyClass::publicKey, [&](auto) { return answer; }, LastPinTry::keep);
    }
}

}  // namespace

std::vector<std::string> listKeyKinds() {
    std::vector<std::string> names;
    for (const auto& kind : makeKinds()) names.emplace_back(kind.name);
    return names;
}

void newKey(const NewKeyOptions& options) {
    const auto all = makeKinds();
    const auto kind = std::ranges::find(all, options.kind, &KeyKind::name);
    if (kind == all.end()) {
        // The text is not quoted: it may be a misplaced URI with a PIN.
        throw Failure(ExitCode::usage, "The kind of key must be one of " + join(listKeyKinds()) + '.');
    }
    // A PKCS #11 token needs its PIN; a file is encrypted only on request.
    const bool isEncrypted = options.isEncrypted || !options.secret.file.empty();
    const auto askForSecret = Torvane::isPkcs11URI(options.uri) ? makeSecretSource(options.secret.file)
                              : isEncrypted                     ? makeNewSecretSource(options.secret.file)
                                                                : SecretSource();
    kind->make(options.uri, askForSecret, options.secret.lastPinTry());
}

void showKey(const ShowKeyOptions& options) {
    const auto askForSecret = makeSecretSource(options.secret.file);
    const auto lastPinTry = options.secret.lastPinTry();
    const auto key = options.isPublic ? openKeyFrom(options.uri, KeyClass::publicKey, askForSecret, lastPinTry)
                                      : openAnyKey(options.uri, askForSecret, lastPinTry);
    const auto kind = describeKind(key);
    const bool isRSA = kind.starts_with("RSA");
    const auto name = key.keyRef() ? key.keyRef()->name() : Torvane::KeyName();
    std::vector<std::pair<std::string, std::string>> rows{
        {"family", isRSA ? "RSA" : "EC"},
        isRSA ? std::pair("size", kind.substr(4)) : std::pair("curve", kind),
        {"class", key.isPublicKey() ? "public" : "private"},
        {"thumbprint", Torvane::JsonWebKey(key, Torvane::JWKUse::JWK_SIG, {}).thumbprint()}};
    if (!name.label.empty()) rows.emplace_back("label", makePrintable(name.label));
    if (options.asJSON) {
        JSONValue::Object object;
        for (const auto& [member, value] : rows) object[member] = value;
        if (isRSA) object["size"] = std::stoi(kind.substr(4));
        std::cout << formatJSON(object) << '\n';
        return;
    }
    if (isRSA) rows[1].second += " bits";
    std::cout << formatNames(rows, choosePalette());
}

}  // namespace Command
