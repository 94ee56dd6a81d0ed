// Token profiles: which algorithms a standard allows in its tokens, by name.
//
//     const Torvane::NestedToken nested(ours, theirs, Torvane::Profiles::fapi2MessageSigning());
//     const auto response = Torvane::Profiles::openID4VPResponse();
//     const std::string jwe = response.encrypter({verifierKey}).encryptJWTToString(payload);
//     const Torvane::ByteBuffer plaintext = response.decrypt(jwe, {ourPrivateKey});
#pragma once

#include <optional>
#include <vector>

#include "torvane/jwe/jwe_encrypter.hpp"
#include "torvane/keys/json_web_key_set.hpp"
#include "torvane/platform/core/bytes.hpp"
#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/core/limits.hpp"
#include "torvane/platform/jose/algorithms.hpp"

namespace Torvane {

/// The algorithms that may be used in a JWE.
struct TORVANE_EXPORT EncryptionProfile {
    /// Allowed "alg".
    std::vector<JOSE::KeyManagementAlgorithm> keyManagement;
    /// Allowed "enc"; the first one encrypts.
    std::vector<JOSE::ContentEncryptionAlgorithm> contentEncryption;
    /// The curve of the recipient's key; nothing for any curve, and for RSA.
    std::optional<EllipticCurve> curve = std::nullopt;

    /// An encrypter with the first algorithms of the profile that one of the keys fits, whose tokens have the "kid" of
    /// that key's JWK, if there is one.
    /// @param recipients the recipient's public keys, or the one to use.
    /// @throws TokenError keyNotFound when there is not exactly one key that fits; algorithmNotAllowed when the profile
    ///         has no "enc".
    [[nodiscard]] JWEEncrypter encrypter(const JsonWebKeySet& recipients) const;

    /// @{
    /// Decrypts a token with our key that has the "kid" of its header; without "kid", exactly one of our keys must fit.
    /// @throws TokenError malformed; algorithmNotAllowed when the profile does not allow the header's algorithms;
    ///         keyNotFound; decryptionFailed.
    [[nodiscard]] ByteBuffer decrypt(ByteView token, const JsonWebKeySet& ours, const Limits& limits = {}) const;
    [[nodiscard]] ByteBuffer decrypt(const TextLike auto& token, const JsonWebKeySet& ours,
                                     const Limits& limits = {}) const {
        return decrypt(asBytes(token), ours, limits);
    }
    /// @}
};

/// The algorithms that may be used in a nested token: those of its JWS, and those of the JWE around it.
struct NestedTokenProfile {
    /// Allowed "alg" of the JWS. The first one that our signing key fits signs.
    std::vector<JOSE::SignatureAlgorithm> signature;
    /// Those of the JWE.
    EncryptionProfile encryption;
};

/// Profiles of published standards. Each is the algorithms of this library that the standard allows.
namespace Profiles {

/// FAPI 2.0 Message Signing, which takes its algorithms from the FAPI 2.0 Security Profile, section 5.4.1: JWTs use
/// PS256, ES256 or EdDSA with Ed25519, so never RS256. It leaves the encryption open; RSA1_5 is unknown here anyway.
[[nodiscard]] TORVANE_EXPORT NestedTokenProfile fapi2MessageSigning();

/// A JWS in a JWE in the style of Open Banking: PS256 signs (FAPI 1.0 Advanced, section 8.6), and RSA-OAEP with A256GCM
/// encrypts, as Open Finance Brasil's profile of it says.
[[nodiscard]] TORVANE_EXPORT NestedTokenProfile openBanking();

/// The encrypted response of a wallet in OpenID4VP, section 8.3, as HAIP 1.0 narrows it, section 5: ECDH-ES with a key
/// on P-256, and A128GCM or A256GCM. It is not signed.
[[nodiscard]] TORVANE_EXPORT EncryptionProfile openID4VPResponse();

}  // namespace Profiles

}  // namespace Torvane
