// Real keys for tests: those of tests/vectors, which another implementation made.
#pragma once

#include <string>

#include "torvane/platform/key_library/secp256k1_utils.hpp"
#include "torvane/platform/key_stores/sec_key.hpp"
#include "torvane/torvane.hpp"

namespace Testing {

using namespace Torvane;

/// The platform private key of one RSA or EC key of nested_interop.json, by its "kid"; read once.
const SecKey& privateKey(const std::string& kid);
SecKey publicKey(const std::string& kid);

/// The same key in a store that does nothing with it.
SecKey keyOfIdleStore(const std::string& kid);

/// A member of that key's entry, for example "jwk_public" or "pkcs8_pem", as text.
std::string keyText(const std::string& kid, const std::string& member);

// The kids of the keys that most tests use.
inline const std::string rsaSig = "d-sig-rs256";
inline const std::string rsaSig2 = "d-sig-ps256";
inline const std::string rsaEnc = "d-enc-oaep256";
inline const std::string rsaEnc2 = "d-enc-oaep";
inline const std::string ecP256 = "d-sig-es256";
inline const std::string ecP384 = "d-sig-es384";
inline const std::string ecP521 = "d-sig-es512";
inline const std::string ecEncP256 = "d-enc-ecdh";
inline const std::string ecEncP384 = "d-enc-ecdhkw384";
inline const std::string ecEncP521 = "d-enc-ecdh521";

/// The key's private or public half as a JsonWebKey with its kid; of type RSA2048Key or EC256Key by its family.
Torvane::JsonWebKey privateJwk(const std::string& kid, Torvane::JWKUse use);
Torvane::JsonWebKey publicJwk(const std::string& kid, Torvane::JWKUse use);

/// A key in words, as data files name it: "HALF KID USE", for example "private d-sig-rs256 sig". The half is
/// private, public, or privateJwk for a key from fromPrivateJwk(); the kid one of the file, rsa1024,
/// secp256k1, secp256k1-zero (no scalar) or secp256k1-off-curve (no point). A fourth word, untyped or
/// another-type, takes the key's type away.
Torvane::JsonWebKey keyInWords(const std::string& words);

/// One secp256k1 key pair for the whole run.
const Zennet::Secp256k1Utils::KeyPair& secp256k1KeyPair();

}  // namespace Testing
