#include <cjose/cjose.h>
#include <cstdlib>
#include <cstring>
#include <stdexcept>

#include <openssl/bn.h>

#include "bench/peers/nearest.hpp"
#include "bench/peers/peers.hpp"
#include "bench/shared/floor.hpp"

namespace Bench {
namespace {

using Jwk = Handle<cjose_jwk_t, cjose_jwk_release>;
using Jws = Handle<cjose_jws_t, cjose_jws_release>;
using Jwe = Handle<cjose_jwe_t, cjose_jwe_release>;
using Header = Handle<cjose_header_t, cjose_header_release>;

// The error argument of a call, thrown if the call fails.
class Call {
  public:
    operator cjose_err*() { return &error_; }

    template <class T>
    T* operator()(T* made) const {
        check(made != nullptr);
        return made;
    }
    void check(bool succeeded) const {
        if (!succeeded) throw std::runtime_error(error_.message ? error_.message : "cjose failed");
    }

  private:
    cjose_err error_{};
};

struct KeyPair {
    Jwk secret, open;
};

KeyPair load(const std::string& pem) {
    const auto key = readKey(pem);
    const auto number = [&](const char* name) {
        BIGNUM* read = nullptr;
        Bench::check(EVP_PKEY_get_bn_param(key.get(), name, &read) == 1);
        const Handle<BIGNUM, BN_clear_free> held(read);
        Bytes bytes(static_cast<std::size_t>(BN_num_bytes(read)));
        BN_bn2bin(read, bytes.data());
        return bytes;
    };
    auto e = number("e"), n = number("n"), d = number("d"), p = number("rsa-factor1"), q = number("rsa-factor2"),
         dp = number("rsa-exponent1"), dq = number("rsa-exponent2"), qi = number("rsa-coefficient1");
    const cjose_jwk_rsa_keyspec secret{e.data(),  e.size(),  n.data(),  n.size(), d.data(),  d.size(),
                                       p.data(),  p.size(),  q.data(),  q.size(), dp.data(), dp.size(),
                                       dq.data(), dq.size(), qi.data(), qi.size()};
    cjose_jwk_rsa_keyspec open{};
    open.e = e.data(), open.elen = e.size(), open.n = n.data(), open.nlen = n.size();
    Call call;
    return {Jwk(call(cjose_jwk_create_RSA_spec(&secret, call))), Jwk(call(cjose_jwk_create_RSA_spec(&open, call)))};
}

Header makeHeader(const std::string& algorithm, const std::string& enc) {
    Call call;
    Header header(call(cjose_header_new(call)));
    call.check(cjose_header_set(header.get(), CJOSE_HDR_ALG, algorithm.c_str(), call));
    if (!enc.empty()) call.check(cjose_header_set(header.get(), CJOSE_HDR_ENC, enc.c_str(), call));
    return header;
}

class Cjose final : public Party {
  public:
    Cjose(const Keys& keys, const std::string& algorithm, const std::string& enc)
        : algorithm_(algorithm),
          jwsHeader_(makeHeader(CJOSE_HDR_ALG_RS256, "")),
          jweHeader_(makeHeader(algorithm, enc)),
          signing_(load(keys.signing)),
          decryption_(load(keys.decryption)) {}

    std::string name() const override { return "cjose"; }
    std::string keyManagement() const override { return algorithm_; }

    Result encode(std::span<const std::uint8_t> message) override {
        Call call;
        const auto jwe = encrypt(message);
        auto* token = call(cjose_jwe_export(jwe.get(), call));
        return {{token, std::free}, token, std::strlen(token)};
    }

    Result decode(std::span<const std::uint8_t> token) override {
        Call call;
        auto jws = decrypt(token);
        call.check(cjose_jws_verify(jws.get(), signing_.open.get(), call));
        std::uint8_t* message = nullptr;
        std::size_t size = 0;
        call.check(cjose_jws_get_plaintext(jws.get(), &message, &size, call));
        return {
            {jws.release(), [](void* owner) { cjose_jws_release(static_cast<cjose_jws_t*>(owner)); }}, message, size};
    }

  private:
    Jwe encrypt(std::span<const std::uint8_t> message) const {
        Call call;
        const Jws jws(
            call(cjose_jws_sign(signing_.secret.get(), jwsHeader_.get(), message.data(), message.size(), call)));
        const char* text = nullptr;
        call.check(cjose_jws_export(jws.get(), &text, call));
        return Jwe(call(cjose_jwe_encrypt(decryption_.open.get(), jweHeader_.get(),
                                          reinterpret_cast<const std::uint8_t*>(text), std::strlen(text), call)));
    }

    Jws decrypt(std::span<const std::uint8_t> token) const {
        Call call;
        Jwe jwe(call(cjose_jwe_import(reinterpret_cast<const char*>(token.data()), token.size(), call)));
        std::size_t size = 0;
        const Handle<std::uint8_t, std::free> text(
            call(cjose_jwe_decrypt(jwe.get(), decryption_.secret.get(), &size, call)));
        jwe.reset();
        return Jws(call(cjose_jws_import(reinterpret_cast<const char*>(text.get()), size, call)));
    }

    std::string algorithm_;
    Header jwsHeader_, jweHeader_;
    KeyPair signing_, decryption_;
};

}  // namespace

std::unique_ptr<Party> makeCjose(const Keys& keys, const std::string& enc) {
    return makeNearest<Cjose>(keys, enc);
}

}  // namespace Bench
