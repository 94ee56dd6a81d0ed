// Declarations for the examples in the public headers.
#pragma once

#include <iostream>

#include "torvane/platform/key_library/open_key.hpp"
#include "torvane/platform/key_stores/pkcs11_key_store.hpp"
#include "torvane/torvane.hpp"

extern const Torvane::SecKey secKey;
extern const Torvane::JsonWebKey key, ourPrivateKey, recipientKey, senderKey, theirPublicKey;
extern const Torvane::JsonWebKey verifierKey;
extern const Torvane::JsonWebKeySet ourPrivateKeys, ours, providerKeys, theirPublicKeys, theirs;
extern const Torvane::ClaimsPolicy policy;
extern const Torvane::JSONValue::Object header;
extern const Torvane::JOSEHelper helper;
extern const Torvane::KeySetSource source;
extern const Torvane::NestedToken tokens;
extern const Torvane::JWSSigner signer;
extern const Torvane::JWSVerifier verifier;
extern const Torvane::JWEEncrypter encrypter;
extern const Torvane::JWEDecrypter decrypter;
extern const Torvane::ByteBuffer jwe, jws, message, payload, theirToken, token;
extern const std::string jwkSetText;
std::optional<Torvane::SecretBuffer> askForPassphrase(std::string_view description);
std::optional<Torvane::SecretBuffer> askForPin(std::string_view description);
std::optional<Torvane::SecretBuffer> askOnTheTerminal(std::string_view description);
