// Makes keys, sends itself claims as a nested token, and opens a key file that is not there.
#include <iostream>
#include <string>
#include <torvane/torvane.hpp>

namespace {

using namespace Torvane;
using Zennet::KeyClass;
using Zennet::KeyType;

class Payment : public JsonSerializeObject, public JsonSerializeProtocol {
  protected:
    Properties properties() const override { return {{"amount", 950}, {"currency", std::string("EUR")}}; }
};

}  // namespace

int main() {
    const auto key = Platform::SoftwareKeyStore::generateRSA();
    const auto half = [&](KeyClass which, JWKUse use) {
        return JsonWebKey(which == KeyClass::publicKey ? key.publicKey() : key, which, KeyType::RSA2048Key, use,
                          "ours");
    };
    const JsonWebKeySet published{half(KeyClass::publicKey, JWKUse::JWK_SIG),
                                  half(KeyClass::publicKey, JWKUse::JWK_ENC)};
    const auto helper =
        JOSEHelper::Builder()
            .setSenderJwkSet({half(KeyClass::privateKey, JWKUse::JWK_SIG), half(KeyClass::privateKey, JWKUse::JWK_ENC)})
            .setRecipientJwkSet(JsonWebKeySet(asBytes(published.encodeToString())))
            .create();

    JWTClaims claims;
    claims.setIssuer("consumer").setClaimValue(Payment().toJsonString(), "payment");
    const auto token = helper.encodeMessage(asBytes(claims.toJsonString()));
    const auto received = fromJsonString<JWTClaims>(asText(helper.decodeMessage(token)));
    std::cout << received.getIssuer() << " sends " << received.getClaimValue<std::string>("payment") << '\n';

    try {
        received.getClaimValue<bool>("payment");
    } catch (const JOSEError& error) {
        std::cout << error.errorDescription() << '\n';
    }
    try {
        Platform::openKey("missing.pem", Platform::KeyHalf::privateHalf);
    } catch (const Platform::KeyStoreError& error) {
        std::cout << error.errorDescription() << '\n';
    }
}
