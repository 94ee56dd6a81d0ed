// A request to a back end and its arrival: parameters become the claims of a JWT, the JWT a nested token, and the token
// travels with a header that says so; the back end opens it and reads the claims by their types.
#include <cmath>
#include <cstdint>
#include <iostream>
#include <string>
#include <torvane/torvane.hpp>
#include <utility>
#include <vector>

namespace {

using namespace Torvane;

// Claims in, a nested token out, and the other way round.
class TokenCoder : public CoderEncryptProtocol {
  public:
    explicit TokenCoder(JOSEHelper helper) : helper_(std::move(helper)) {}

    std::string_view contentType() const override { return URLRequestHeader::header_content_type_jwt; }

    ByteBuffer encodeRequestBody(const URLRequestBody& requestBody) override {
        JWTClaims claims;
        claims.setIssuer("app").setAudience("bank").setIssuedAtToNow().setExpirationTimeSecondsInTheFuture(60);
        claims.setGeneratedJwtId();
        for (const auto& [name, value] : requestBody) claims.setClaimValue(value, name);
        return helper_.encodeMessage(asBytes(claims.toJsonString()));
    }

    JSONValue decodeResponseData(ByteView responseData) override {
        return JsonCodeHelper::decodeCodeJson(helper_.decodeMessage(responseData));
    }

  private:
    JOSEHelper helper_;
};

struct Request {
    URLRequestHeader header;
    ByteBuffer body;
};

void send(TokenCoder& coder, Request& request) {
    URLRequestBody body;
    body.setBodyParam("amount", 950.25).setBodyParam("currency", "EUR").setBodyParam("draft", false);
    body["tags"] = JSONValue::List{"rent", "home"};
    body["payee"] = JSONValue::Object{{"name", "Ada"}, {"bank", "Z\u00fcrich"}};
    std::cout << "the app sends " << body << '\n';
    request.header.setHeaderField(URLRequestHeader::header_content_type, coder.contentType());
    request.body = coder.encodeRequestBody(body);
}

void receive(const JOSEHelper& helper, const Request& request) {
    const auto contentType = request.header[URLRequestHeader::header_content_type];
    std::cout << "the bank receives " << contentType.value_or("nothing it knows") << '\n';
    const auto claims = fromJsonString<JWTClaims>(asText(helper.decodeMessage(request.body)));
    std::cout << "from " << claims.getIssuer() << " for " << claims.getAudience().front() << ", good for "
              << std::floor(claims.getExpirationTime() - claims.getIssuedAt()) << " s\n";
    std::cout << claims.getClaimValue<double>("amount") << ' ' << claims.getClaimValue<std::string>("currency")
              << " to " << *Platform::stringMember(claims.getClaimValue<JSONValue::Object>("payee"), "name")
              << ", tagged";
    for (const auto& tag : claims.getClaimValue<std::vector<std::string>>("tags")) std::cout << ' ' << tag;
    std::cout << (claims.getClaimValue<bool>("draft") ? ", a draft\n" : ", to be carried out\n");
    try {
        claims.getClaimValue<std::int64_t>("currency");
    } catch (const JOSEError& error) {
        std::cout << error.errorDescription() << '\n';
    }
}

std::pair<JsonWebKey, JsonWebKey> keyPair(JWKUse use, const std::string& id) {
    using Zennet::KeyClass, Zennet::KeyType;
    const auto key = Platform::SoftwareKeyStore::generateRSA();
    return {JsonWebKey(key, KeyClass::privateKey, KeyType::RSA2048Key, use, id),
            JsonWebKey(key.publicKey(), KeyClass::publicKey, KeyType::RSA2048Key, use, id)};
}

}  // namespace

int main() {
    const auto [appPrivate, appPublic] = keyPair(JWKUse::JWK_SIG, "app");
    const auto [bankPrivate, bankPublic] = keyPair(JWKUse::JWK_ENC, "bank");
    const auto app =
        JOSEHelper::Builder().setSenderJwkSet({appPrivate}, "app").setRecipientJwkSet({bankPublic}, "bank").create();
    const auto bank = JOSEHelper::Builder().setSenderJwkSet({bankPrivate}).setRecipientJwkSet({appPublic}).create();

    TokenCoder coder(app);
    Request request;
    send(coder, request);
    receive(bank, request);
}
