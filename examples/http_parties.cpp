// An app and its bank exchange nested tokens over HTTP, in one process. The bank serves its public keys and accepts
// payments. The app fetches the keys, sends payments and decodes the responses. The program prints every request and
// response, without random parts.
//
// Use TLS in a network. Otherwise an attacker can replace the bank's keys.
#include <chrono>
#include <httplib.h>
#include <iostream>
#include <mutex>
#include <stdexcept>
#include <string>
#include <thread>
#include <torvane/torvane.hpp>
#include <utility>

namespace {

using namespace Torvane;

const std::string jwksType(URLRequestHeader::header_content_type_jwks);
const std::string jwtType(URLRequestHeader::header_content_type_jwt);
constexpr std::size_t longestBody = 8192;
constexpr ClaimsPolicy::Time fixedTime(std::chrono::seconds(1'800'000'000));  // for a constant output

// One party, with its own keys and its peer's. Encodes and decodes the tokens that the two exchange.
struct Party {
    std::string name, peer, signerId = name + "-sig";
    JsonWebKeySet ours, theirs;

    Party(std::string ourName, std::string peersName) : name(std::move(ourName)), peer(std::move(peersName)) {
        addKey(JWKUse::JWK_SIG, signerId);
        addKey(JWKUse::JWK_ENC, name + "-enc");
    }
    void addKey(JWKUse use, const std::string& id) { ours.jwks.emplace_back(SoftwareKeyStore::generateRSA(), use, id); }
    std::string publicKeys() const { return ours.publicSet().encodeToString(); }
    JOSEHelper helper() const {
        return JOSEHelper::Builder()
            .setSenderJwkSet(ours, signerId)
            .setRecipientJwkSet(theirs, peer + "-enc")
            .setClaimsPolicy(
                ClaimsPolicy().requireIssuer(peer).requireAudience(name).setClock([] { return fixedTime; }))
            .create();
    }
    std::string write(JSONValue::Object content, std::chrono::seconds validFor = std::chrono::seconds(60)) const {
        JWTClaims claims(std::move(content));
        claims.setIssuer(name).setAudience(peer).setExpirationTime(fixedTime + validFor);
        return helper().encodeMessageToString(claims.toJsonString());
    }
    // Returns the amount in a token, or throws if the token is invalid.
    double read(const std::string& token) const {
        return helper().decode(token).claims->getClaimValue<double>("amount");
    }
};

class Bank {
  public:
    explicit Bank(const std::string& jwksOfApp) {
        self_.theirs = JsonWebKeySet(jwksOfApp);
        server_.Get("/jwks", [this](auto&, auto& out) { out.set_content(self().publicKeys(), jwksType); });
        server_.Post("/payments", [this](auto&, auto& out, auto& body) { answer(body, out); });
        server_.set_payload_max_length(longestBody);
        server_.set_keep_alive_max_count(1);  // so that the rest of an oversized body is not parsed as a request
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) std::this_thread::yield();  // before that, stop() has no effect
    }
    ~Bank() {
        server_.stop();
        thread_.join();
    }
    int port() const { return port_; }

    void signWithNewKey(const std::string& id) {
        const std::lock_guard lock(mutex_);
        self_.addKey(JWKUse::JWK_SIG, self_.signerId = id);
    }

  private:
    // Returns a copy, since the server runs handlers in several threads at once.
    Party self() {
        const std::lock_guard lock(mutex_);
        return self_;
    }

    // The log gets the reason of a failure. The sender gets the same text for every failure.
    void answer(const httplib::ContentReader& body, httplib::Response& response) try {
        std::string token;  // limited here too, since the server limits only bodies with a Content-Length
        if (!body([&](auto* data, auto size) { return token.append(data, size).size() <= longestBody; })) {
            throw std::runtime_error("too long, or cut off");
        }
        response.set_content(self().write({{"amount", self().read(token)}}), jwtType);
    } catch (const std::exception& error) {
        // The reason may quote what the sender wrote, line breaks and escapes included.
        std::cout << "the bank's log: " << makePrintable(error.what()) << '\n';
        if (response.status == 413) return;  // the server itself answers an oversized body
        response.status = 400;
        response.set_content("rejected", std::string(URLRequestHeader::header_content_type_text_plain));
    }

    std::mutex mutex_;
    Party self_{"bank", "app"};
    httplib::Server server_;
    const int port_ = server_.bind_to_any_port("127.0.0.1");
    std::thread thread_;
};

// Describes the body of a request or response: the header of a token, the id of the last key in a JWK Set, or the text.
std::string brief(const auto& message) {
    const auto type = message.get_header_value(std::string(URLRequestHeader::header_content_type));
    if (type == jwksType) return ' ' + type + ' ' + JsonWebKeySet(message.body).jwks.back().keyId();
    if (type != jwtType) return message.body.empty() ? "" : ' ' + type + ' ' + message.body;
    const auto header = JsonWebStructure::readHeader(message.body).value();
    return ' ' + type + ' ' + makePrintable(asText(JSONSerialization::data(header)));
}

struct App : Party {
    httplib::Client bank;
    App(const Party& self, int port) : Party(self), bank("127.0.0.1", port) {
        bank.set_logger([](const auto& request, const auto& response) {
            std::cout << request.method << ' ' << request.path << brief(request) << "\n    " << response.status
                      << brief(response) << '\n';
        });
        fetchKeys();
    }
    void fetchKeys() {
        const auto response = bank.Get("/jwks");
        if (!response || response->status != 200) throw std::runtime_error("The bank did not return its keys.");
        theirs = JsonWebKeySet(response->body);
    }
    void pay(const JSONValue::Object& payment, std::chrono::seconds validFor = std::chrono::seconds(60)) {
        const auto response = bank.Post("/payments", write(payment, validFor), jwtType);
        if (response && response->status == 200) std::cout << readReply(response->body) << " paid\n";
    }
    double readReply(const std::string& token) try { return read(token); } catch (const JOSEError& error) {
        if (error.errorCase() != JOSEError::Case::missingKey) throw;
        fetchKeys();  // the bank may have signed with a new key
        return read(token);
    }
};

}  // namespace

int main() try {
    const Party party("app", "bank");
    Bank bank(party.publicKeys());
    App app(party, bank.port());
    app.pay({{"amount", 950.25}});
    bank.signWithNewKey("bank-sig-2");
    app.pay({{"amount", 12}});
    app.pay({{"amount", 7}, {"note", "expired"}}, std::chrono::seconds(-1));
    app.pay({{"amount", 8}, {"note", std::string(longestBody, '!')}});
    App(Party("app", "bank"), bank.port()).pay({{"amount", 1e6}});  // an attacker's keys with the app's key ids
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
