// The keys of --key: from PEM, DER, PKCS #12, PKCS #11, JWK and JWK Set.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <torvane/torvane.hpp>
#include <vector>

#include "cli/commands.hpp"

namespace Command {

/// A key that was given, and what its JWK says of it.
struct GivenKey {
    /// For errors, without a PIN: "sign.pem", or "peer.jwks#2026" for a key of a set.
    std::string name;
    Torvane::Zennet::Key key;
    /// The "kid" of its JWK.
    std::optional<std::string> keyId{};
    Torvane::JWKUse use = Torvane::JWKUse::JWK_SIG_ENC;
    /// The "alg" and "key_ops" of its JWK.
    std::optional<std::string> algorithm{};
    std::optional<std::vector<std::string>> operations{};
    /// Whether "#kid" chose the key, so that it is used for tokens with any "kid".
    bool isChosen = false;

    /// RFC 7638.
    std::string thumbprint() const;
    /// The "kid" of tokens made with the key: that of its JWK, or its thumbprint.
    std::string tokenKeyId() const { return keyId ? *keyId : thumbprint(); }
    /// A thumbprint names a key as well as its "kid" does: `sign` and `jwks make` write it for keys without an id.
    bool hasId(const std::string& id) const { return keyId == id || thumbprint() == id; }
    /// Whether a token with this "kid" may be meant for the key: also any key without an id of its own, and one that
    /// "#KID" chose.
    bool mayHaveId(const std::string& id) const { return isChosen || !keyId || hasId(id); }
};

/// A key of a set, with what its members say of it.
GivenKey describeEntry(std::string name, const Torvane::JSONValue::Object& members, const Torvane::JsonWebKey& key);

/// Opens the keys of FILE[#KID] texts, at least one. A FILE is a path, a "file:" or "pkcs11:" URI, or "-" for standard
/// input; its content tells the format. "#KID" chooses from a JWK Set, unless a file has the whole name. Keys of a set
/// that cannot be read are left out.
/// @param keyClass private keys are needed, or public ones; a private key stands for its public key, too.
/// @param task for errors, for example "signing".
/// @throws Failure if a file has no such key; the errors of Torvane::Zennet::openKey().
std::vector<GivenKey> openKeys(const std::vector<std::string>& texts, Torvane::KeyClass keyClass, std::string_view task,
                               const SecretOptions& secret);

}  // namespace Command
