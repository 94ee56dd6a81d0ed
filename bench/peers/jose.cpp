#include <algorithm>
#include <cstdlib>
#include <new>
#include <stdexcept>
#include <string_view>
#include <utility>

extern "C" {
#include <jose/b64.h>
#include <jose/jwe.h>
#include <jose/jwk.h>
#include <jose/jws.h>
#include <jose/openssl.h>
}

#include "bench/peers/nearest.hpp"
#include "bench/peers/peers.hpp"
#include "bench/shared/floor.hpp"

namespace Bench {
namespace {

using Json = Handle<json_t, json_decref>;

// The library writes JSON only; the application has to convert it to compact form.
using Members = std::vector<const char*>;
const Members jwsMembers{"protected", "payload", "signature"};
const Members jweMembers{"protected", "encrypted_key", "iv", "ciphertext", "tag"};

void check(bool succeeded, const char* call) {
    if (!succeeded) throw std::runtime_error(std::string(call) + " fails");
}

// Memory that the application allocates, as it would in C.
struct Buffer {
    explicit Buffer(std::size_t needed)
        : owner(std::malloc(std::max<std::size_t>(needed, 1)), std::free), size(needed) {
        if (!owner) throw std::bad_alloc();
    }
    char* data() const { return static_cast<char*>(owner.get()); }
    Result result() {
        const auto* start = data();
        return {std::move(owner), start, size};  // NOLINT(clang-analyzer-unix.Malloc): the owner frees it
    }

    Result::Owner owner;
    std::size_t size;
};

Buffer compact(const json_t* token, const Members& members) {
    std::vector<std::string_view> parts;
    std::size_t size = members.size() - 1;
    for (const auto* member : members) {
        const auto* part = json_object_get(token, member);
        if (!json_is_string(part)) throw std::runtime_error(std::string("no ") + member);
        size += parts.emplace_back(json_string_value(part), json_string_length(part)).size();
    }
    Buffer text(size);
    auto* end = text.data();
    for (const auto part : parts) {
        if (end != text.data()) *end++ = '.';
        end = std::copy(part.begin(), part.end(), end);
    }
    return text;
}

Json parse(std::string_view text, const Members& members) {
    Json token(json_object());
    for (std::size_t i = 0; i < members.size(); ++i) {
        const auto end = i + 1 < members.size() ? text.find('.') : text.size();
        if (end == text.npos) throw std::runtime_error("too few parts");
        if (json_object_set_new(token.get(), members[i], json_stringn(text.data(), end)) != 0) {
            throw std::runtime_error(std::string("bad ") + members[i]);
        }
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return token;
}

std::string_view asText(const void* data, std::size_t size) {
    return {static_cast<const char*>(data), size};
}

class Jose final : public Party {
  public:
    Jose(const Keys& keys, std::string algorithm, std::string enc)
        : algorithm_(std::move(algorithm)),
          enc_(std::move(enc)),
          signing_(load(keys.signing)),
          verification_(extractPublicKey(signing_)),
          decryption_(load(keys.decryption)),
          encryption_(extractPublicKey(decryption_)) {}

    std::string name() const override { return "jose"; }
    std::string keyManagement() const override { return algorithm_; }

    Result encode(std::span<const std::uint8_t> message) override {
        return compact(encrypt(message).get(), jweMembers).result();
    }

    Result decode(std::span<const std::uint8_t> token) override {
        const auto jws = decrypt(token);
        check(jose_jws_ver(nullptr, jws.get(), nullptr, verification_.get(), false), "jose_jws_ver");
        const auto* payload = json_object_get(jws.get(), "payload");
        Buffer message(jose_b64_dec(payload, nullptr, 0));
        check(jose_b64_dec(payload, message.data(), message.size) == message.size, "jose_b64_dec");
        return message.result();
    }

  private:
    static Json load(const std::string& pem) {
        Json jwk(jose_openssl_jwk_from_EVP_PKEY(nullptr, readKey(pem).get()));
        check(jwk != nullptr, "jose_openssl_jwk_from_EVP_PKEY");
        return jwk;
    }

    static Json extractPublicKey(const Json& key) {
        Json publicKey(json_deep_copy(key.get()));
        check(jose_jwk_pub(nullptr, publicKey.get()), "jose_jwk_pub");
        return publicKey;
    }

    Buffer sign(std::span<const std::uint8_t> message) const {
        const Json jws(json_pack("{s:o}", "payload", jose_b64_enc(message.data(), message.size())));
        const Json header(json_pack("{s:{s:s}}", "protected", "alg", "RS256"));
        check(jose_jws_sig(nullptr, jws.get(), header.get(), signing_.get()), "jose_jws_sig");
        return compact(jws.get(), jwsMembers);
    }

    Json encrypt(std::span<const std::uint8_t> message) const {
        const auto inside = sign(message);
        Json jwe(json_pack("{s:{s:s,s:s}}", "protected", "alg", algorithm_.c_str(), "enc", enc_.c_str()));
        check(jose_jwe_enc(nullptr, jwe.get(), nullptr, encryption_.get(), inside.data(), inside.size), "jose_jwe_enc");
        return jwe;
    }

    Json decrypt(std::span<const std::uint8_t> token) const {
        auto jwe = parse(asText(token.data(), token.size()), jweMembers);
        std::size_t size = 0;
        const Handle<void, std::free> text(jose_jwe_dec(nullptr, jwe.get(), nullptr, decryption_.get(), &size));
        check(text != nullptr, "jose_jwe_dec");
        jwe.reset();
        return parse(asText(text.get(), size), jwsMembers);
    }

    std::string algorithm_, enc_;
    Json signing_, verification_, decryption_, encryption_;
};

}  // namespace

std::unique_ptr<Party> makeJose(const Keys& keys, const std::string& enc) {
    return makeNearest<Jose>(keys, enc);
}

}  // namespace Bench
