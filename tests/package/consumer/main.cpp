// An application that makes keys, sends itself claims as a nested token, and opens a key file that does not exist. Its
// own names Platform, JOSE and Zennet do not clash with those inside the library's namespace.
#include <iostream>
#include <string>
#include <torvane/torvane.hpp>

enum class Platform { desktop, android };
namespace JOSE {
struct Token {};
}  // namespace JOSE
struct Zennet {};

namespace {

using namespace Torvane;

struct Application {
    ::Platform platform = ::Platform::android;
    ::JOSE::Token token;
    ::Zennet zennet;
};

class Payment : public JsonSerializeObject, public JsonSerializeProtocol {
  protected:
    Properties properties() const override {
        return {{{"amount", 950}, {"currency", std::string("EUR")}}, JsonSerializeObject::properties()};
    }
};

}  // namespace

int main() {
    if (Application().platform != Platform::android) return 1;
    const auto key = SoftwareKeyStore::generateRSA();
    const JsonWebKeySet ours{{key, JWKUse::JWK_SIG, "ours"}, {key, JWKUse::JWK_ENC, "ours"}};
    const auto published = ours.publicSet().encodeToString();
    const auto helper =
        JOSEHelper::Builder().setSenderJwkSet(ours).setRecipientJwkSet(JsonWebKeySet(published)).create();

    JWTClaims claims;
    claims.setIssuer("consumer").setClaim("payment", Payment().toJsonString());
    const auto token = helper.encodeMessage(claims.toJsonString());
    const auto received = fromJsonString<JWTClaims>(helper.decodeMessageToString(token));
    std::cout << received.getIssuer() << " sends " << received.getClaimValue<std::string>("payment") << '\n';

    try {
        static_cast<void>(received.getClaimValue<bool>("payment"));
    } catch (const JOSEError& error) {
        std::cout << error.errorDescription() << '\n';
    }
    try {
        static_cast<void>(openKey("missing.pem", KeyClass::privateKey));
    } catch (const KeyStoreError& error) {
        std::cout << error.errorDescription() << '\n';
    }
}
