#include "bench/shared/torvane_party.hpp"

#include "torvane/torvane.hpp"

namespace Bench {
namespace {

using namespace Torvane;

struct KeyPair {
    KeyPair(const std::string& pem, JWKUse use, const char* id)
        : secKey(SoftwareKeyStore::load(asBytes(pem))), own(secKey, use, id), publicHalf(own.publicHalf()) {}

    SecKey secKey;
    JsonWebKey own, publicHalf;
};

struct KeyPairs {
    explicit KeyPairs(const Keys& keys)
        : signing(keys.signing, JWKUse::JWK_SIG, "sign"), decryption(keys.decryption, JWKUse::JWK_ENC, "decrypt") {}

    KeyPair signing, decryption;
};

class TorvaneParty final : public Party {
  public:
    TorvaneParty(const KeyPairs& keys, const std::string& enc, const std::string& keyManagement)
        : keyManagement_(keyManagement),
          helper_(JOSEHelper::Builder()
                      .setSenderJwkSet({keys.signing.own, keys.decryption.own}, "sign")
                      .setRecipientJwkSet({keys.signing.publicHalf, keys.decryption.publicHalf}, "decrypt")
                      .setJWEKeyManagementAlgorithm(keyManagement)
                      .setJWEContentEncryptionAlgorithm(enc)
                      .create()) {}

    std::string name() const override { return "torvane"; }
    std::string keyManagement() const override { return keyManagement_; }
    Result encode(std::span<const std::uint8_t> message) override { return helper_.encodeMessage(message); }
    Result decode(std::span<const std::uint8_t> token) override { return helper_.decodeMessage(token); }

  private:
    std::string keyManagement_;
    JOSEHelper helper_;
};

}  // namespace

std::unique_ptr<Party> makeTorvane(const Keys& keys, const std::string& enc, const std::string& keyManagement) {
    return std::make_unique<TorvaneParty>(KeyPairs(keys), enc, keyManagement);
}

Operation makeTorvaneVerifyEncrypt(const Keys& keys, const std::string& enc, const Bytes& message) {
    const KeyPairs pairs(keys);
    return [jws = JWSSigner(JOSE::SignatureAlgorithm::RS256, pairs.signing.own).signJWT(message),
            verifier = JWSVerifier(JOSE::SignatureAlgorithm::RS256, pairs.signing.publicHalf),
            encrypter = JWEEncrypter("RSA-OAEP-256", enc, pairs.decryption.secKey.publicKey(), "decrypt")] {
        static_cast<void>(verifier.verifyJWS(jws));
        return encrypter.encryptJWT(jws, std::nullopt, true).size();
    };
}

}  // namespace Bench
