// An app sends the parameters of a request to its bank, as the claims of a JWT in a nested token, and decodes the
// response.
#include <iostream>
#include <string>
#include <torvane/torvane.hpp>
#include <utility>

namespace {

using namespace Torvane;

// Encodes the parameters of a request as a nested token, and decodes the response, a nested token, to JSON.
class TokenCoder : public CoderEncryptProtocol {
  public:
    explicit TokenCoder(JOSEHelper helper) : helper_(std::move(helper)) {}

    std::string_view contentType() const override { return URLRequestHeader::header_content_type_jwt; }

    ByteBuffer encodeRequestBody(const URLRequestBody& requestBody) override {
        JWTClaims claims(requestBody.getParams());
        claims.setIssuer("app").setAudience("bank").setIssuedAtToNow().setExpirationTimeSecondsInTheFuture(60);
        claims.setClaim(ReservedClaimNames::TYPE, "payment").setGeneratedJwtId();
        return helper_.encodeMessage(asBytes(claims.toJsonString()));
    }

    JSONValue decodeResponseData(ByteView responseData) override {
        return JsonCodeHelper::decodeCodeJson(helper_.decodeMessage(responseData));
    }

  private:
    JOSEHelper helper_;
};

// The bank's side: prints the names of the received claims, and returns a response.
ByteBuffer answer(const JOSEHelper& bank, const URLRequestHeader& header, ByteView token) {
    std::cout << "the bank receives " << header[URLRequestHeader::header_content_type].value_or("an untyped body");
    for (const auto& [name, value] : dictFromJsonString(asText(bank.decodeMessage(token)))) std::cout << ", " << name;
    std::cout << '\n';
    return bank.encodeMessage(asBytes(R"({"state":"carried out","balance":49.75})"));
}

JsonWebKey newKey(JWKUse use, const std::string& id) {
    return {SoftwareKeyStore::generateRSA(), use, id};
}

}  // namespace

int main() {
    const JsonWebKeySet appKeys{newKey(JWKUse::JWK_SIG, "app-sig"), newKey(JWKUse::JWK_ENC, "app-enc")};
    const JsonWebKeySet bankKeys{newKey(JWKUse::JWK_SIG, "bank-sig"), newKey(JWKUse::JWK_ENC, "bank-enc")};
    JOSEHelper::Builder app, bank;
    app.setSenderJwkSet(appKeys, "app-sig").setRecipientJwkSet(bankKeys.publicSet(), "bank-enc");
    bank.setSenderJwkSet(bankKeys, "bank-sig").setRecipientJwkSet(appKeys.publicSet(), "app-enc");
    TokenCoder coder(app.create());

    URLRequestBody body;
    body.setBodyParam("amount", 950.25).setBodyParam("currency", "EUR").setBodyParam("draft", false);
    body["tags"] = JSONValue::List::of("rent", "home");
    body["payee"] = JSONValue::Object{{"name", "Ada"}, {"bank", "Z\u00fcrich"}};
    URLRequestHeader header;
    header.setHeaderField(URLRequestHeader::header_content_type, coder.contentType());
    std::cout << "the app sends " << body << '\n';

    const auto response = coder.decodeResponseData(answer(bank.create(), header, coder.encodeRequestBody(body)));
    const auto members = response.to<JSONValue::Object>().value();
    std::cout << "the app reads \"" << requiredMember<std::string>(members, "state") << "\", "
              << requiredMember<double>(members, "balance") << " left\n";
}
