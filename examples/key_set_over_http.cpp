// An API verifies tokens with the keys that a provider publishes over HTTP, in one process. The provider says with
// Cache-Control how long its keys hold, replaces its key, and goes down. A stranger sends tokens too. The program
// prints each request, what the key set source reports, and the subject of each token, or why the token is rejected.
//
// Use TLS in a network. Otherwise an attacker can replace the provider's keys.
#include <atomic>
#include <charconv>
#include <chrono>
#include <httplib.h>
#include <iostream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <torvane/torvane.hpp>

namespace {

using namespace Torvane;
using namespace std::chrono_literals;

const std::string jwksType(URLRequestHeader::header_content_type_jwks);
constexpr std::size_t longestBody = 50'000;
constexpr auto *issuer = "https://id.example", *api = "https://api.example";

class Provider {
  public:
    Provider() {
        server_.Get("/jwks", [this](auto&, auto& response) {
            std::cout << "    GET /jwks\n";
            if (isDown) return void(response.status = 503);
            response.set_header("Cache-Control", "public, max-age=300");
            response.set_content(published_, jwksType);
        });
        thread_ = std::thread([this] { server_.listen_after_bind(); });
        while (!server_.is_running()) std::this_thread::yield();  // before that, stop() has no effect
    }
    ~Provider() {
        server_.stop();
        thread_.join();
    }
    int port() const { return port_; }
    // Before the requests that shall see it.
    void signWith(const std::string& keyId) {
        key_ = JsonWebKey(SoftwareKeyStore::generateEC(EllipticCurve::P256), JWKUse::JWK_SIG, keyId);
        published_ = JsonWebKeySet{key_}.publicSet().encodeToString();
    }
    std::string issue(const char* subject, const char* audience = api) const {
        JWTClaims claims;
        claims.setIssuer(issuer).setAudience(audience).setSubject(subject);
        claims.setExpirationTimeInTheFuture(5min);
        return JWSSigner("ES256", key_).signJWTToString(claims.toJsonString());
    }

    std::atomic<bool> isDown = false;

  private:
    JsonWebKey key_{SoftwareKeyStore::generateEC(EllipticCurve::P256), JWKUse::JWK_SIG, "2026"};
    std::string published_ = JsonWebKeySet{key_}.publicSet().encodeToString();
    httplib::Server server_;
    const int port_ = server_.bind_to_any_port("127.0.0.1");
    std::thread thread_;
};

// The "max-age" of a Cache-Control header; 0 if it has none, or forbids to store the response.
std::chrono::seconds readMaximumAge(std::string_view cacheControl) {
    constexpr std::string_view name = "max-age=";
    const auto at = cacheControl.find(name);
    if (at == std::string_view::npos || cacheControl.find("no-") != std::string_view::npos) return 0s;
    const auto digits = cacheControl.substr(at + name.size());
    std::chrono::seconds::rep age = 0;
    std::from_chars(digits.data(), digits.data() + digits.size(), age);
    return std::chrono::seconds(age);
}

// Gives up after three seconds without an answer, and reads no more than the source accepts.
FetchedKeySet fetchKeys(int port) {
    httplib::Client client("127.0.0.1", port);
    client.set_connection_timeout(3s);
    client.set_read_timeout(3s);
    std::string body;
    const auto response = client.Get(
        "/jwks", [&](const char* data, std::size_t size) { return body.append(data, size).size() <= longestBody; });
    if (!response) throw std::runtime_error("no answer from the provider, or one that is too long");
    if (response->status != 200) throw std::runtime_error("status " + std::to_string(response->status));
    return {body, readMaximumAge(response->get_header_value("Cache-Control"))};
}

void logEvent(const KeySetEvent& event) {
    switch (event.kind) {
        case KeySetEvent::Kind::fetched:
            std::cout << "    fetched " << event.keyCount << " key, for " << event.holdsFor.count() << " s\n";
            break;
        case KeySetEvent::Kind::keptOldSet:
            std::cout << "    kept the old keys: " << localizedDescription(event.error) << '\n';
            break;
        case KeySetEvent::Kind::failed: std::cout << "    failed: " << localizedDescription(event.error) << '\n'; break;
        case KeySetEvent::Kind::ignoredKeyId:
            std::cout << "    unknown key id: " << makePrintable(event.keyId) << '\n';
            break;
    }
}

}  // namespace

int main() try {
    Provider provider;
    KeySetSourceOptions::Time now;  // an application leaves out the clock, and the system's is used
    const KeySetSource source([&] { return fetchKeys(provider.port()); }, {.cooldown = 30s,
                                                                           .staleFor = 10min,
                                                                           .maximumBytes = longestBody,
                                                                           .clock = [&] { return now; },
                                                                           .report = logEvent});
    const TokenVerifier verifier(source, {"ES256"}, ClaimsPolicy().requireIssuer(issuer).requireAudience(api));
    const auto verify = [&](std::chrono::seconds later, const std::string& token) {
        now += later;
        std::cout << "after " << later.count() << " s\n";
        try {
            std::cout << makePrintable(verifier.verify(token).claims.getSubject()) << '\n';
        } catch (const std::exception& error) {
            std::cout << "rejected: " << makePrintable(error.what()) << '\n';
        }
    };
    const auto old = provider.issue("Ada");
    verify(0s, old);
    verify(10s, old);
    verify(0s, "AAAA.AAAA");  // from a stranger
    verify(0s, provider.issue("Ada", "https://shop.example"));
    provider.signWith("2027");
    const auto next = provider.issue("Grace");
    verify(10s, next);  // too soon after the last request
    verify(10s, next);
    verify(0s, old);
    provider.isDown = true;
    verify(300s, next);
    verify(10min, next);
    provider.isDown = false;
    verify(30s, next);
} catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
}
