#include "torvane/torvane.hpp"

#include "bench/party.hpp"

namespace Bench {
namespace {

using namespace Torvane;

class TorvaneParty final : public Party {
  public:
    TorvaneParty(const Keys& keys, const std::string& enc) : helper_(makeHelper(keys, enc)) {}

    std::string name() const override { return "torvane"; }
    Bytes encode(std::span<const std::uint8_t> message) override { return helper_.encodeMessage(message); }
    Bytes decode(std::span<const std::uint8_t> token) override { return helper_.decodeMessage(token); }

  private:
    static JOSEHelper makeHelper(const Keys& keys, const std::string& enc) {
        using Zennet::KeyClass, Zennet::KeyType;
        JsonWebKeySet own{std::vector<JsonWebKey>()}, peer{std::vector<JsonWebKey>()};
        const auto add = [&](const std::string& pem, JWKUse use, const char* id) {
            const auto key = Platform::SoftwareKeyStore::load(asBytes(pem));
            own.jwks.emplace_back(key, KeyClass::privateKey, KeyType::RSA2048Key, use, id);
            peer.jwks.emplace_back(key.publicKey(), KeyClass::publicKey, KeyType::RSA2048Key, use, id);
        };
        add(keys.signing, JWKUse::JWK_SIG, "sign");
        add(keys.decryption, JWKUse::JWK_ENC, "decrypt");
        return JOSEHelper::Builder()
            .setSenderJwkSet(own, "sign")
            .setRecipientJwkSet(peer, "decrypt")
            .setJWEContentEncryptionAlgorithm(enc)
            .create();
    }

    JOSEHelper helper_;
};

}  // namespace

std::unique_ptr<Party> makeTorvane(const Keys& keys, const std::string& enc) {
    return std::make_unique<TorvaneParty>(keys, enc);
}

}  // namespace Bench
