#include <cstring>
#include <rhonabwy.h>
#include <stdexcept>
#include <utility>

#include "bench/peers/nearest.hpp"
#include "bench/peers/peers.hpp"
#include "bench/shared/openssl.hpp"

namespace Bench {
namespace {

using Jwk = Handle<jwk_t, r_jwk_free>;
using Jws = Handle<jws_t, r_jws_free>;
using Jwe = Handle<jwe_t, r_jwe_free>;
using Text = Handle<char, r_free>;

void check(int code, const char* call) {
    if (code != RHN_OK) throw std::runtime_error(std::string(call) + " fails with error " + std::to_string(code));
}

template <class T>
T* requireNotNull(T* object, const char* call) {
    if (object == nullptr) throw std::runtime_error(std::string(call) + " returns null");
    return object;
}

template <class T>
T* initialise(int (*function)(T**), const char* call) {
    T* object = nullptr;
    check(function(&object), call);
    return object;
}

// Removes the key id that the import generates: the other parties do not know it.
Jwk load(const std::string& pem) {
    Jwk key(requireNotNull(r_jwk_quick_import(R_IMPORT_PEM, R_X509_TYPE_PRIVKEY,
                                              reinterpret_cast<const unsigned char*>(pem.data()), pem.size()),
                           "r_jwk_quick_import"));
    check(r_jwk_delete_property_str(key.get(), "kid"), "r_jwk_delete_property_str");
    return key;
}

Jwk extractPublicKey(const Jwk& key) {
    Jwk publicKey(initialise(r_jwk_init, "r_jwk_init"));
    check(r_jwk_extract_pubkey(key.get(), publicKey.get(), 0), "r_jwk_extract_pubkey");
    return publicKey;
}

// Global state of the library, closed with the last owner.
class Library {
  public:
    static std::shared_ptr<const Library> get() {
        static std::weak_ptr<const Library> shared;
        auto library = shared.lock();
        if (!library) shared = library = std::make_shared<const Library>();
        return library;
    }

    Library() { check(r_global_init(), "r_global_init"); }
    ~Library() { r_global_close(); }
    Library(const Library&) = delete;
    Library& operator=(const Library&) = delete;
};

class Rhonabwy final : public Party {
  public:
    Rhonabwy(const Keys& keys, std::string algorithm, const std::string& enc)
        : algorithm_(std::move(algorithm)),
          enc_(r_str_to_jwa_enc(enc.c_str())),
          signing_(load(keys.signing)),
          verification_(extractPublicKey(signing_)),
          decryption_(load(keys.decryption)),
          encryption_(extractPublicKey(decryption_)) {}

    std::string name() const override { return "rhonabwy"; }
    std::string keyManagement() const override { return algorithm_; }

    Result encode(std::span<const std::uint8_t> message) override {
        const auto jwe = wrap(message);
        auto* token = requireNotNull(r_jwe_serialize(jwe.get(), encryption_.get(), 0), "r_jwe_serialize");
        return {{token, r_free}, token, std::strlen(token)};
    }

    Result decode(std::span<const std::uint8_t> token) override {
        auto jws = unwrap(token);
        check(r_jws_verify_signature(jws.get(), verification_.get(), 0), "r_jws_verify_signature");
        std::size_t size = 0;
        const auto* message = requireNotNull(r_jws_get_payload(jws.get(), &size), "r_jws_get_payload");
        return {{jws.release(), [](void* owner) { r_jws_free(static_cast<jws_t*>(owner)); }}, message, size};
    }

  private:
    // A JWE that holds the signed message, before encryption.
    Jwe wrap(std::span<const std::uint8_t> message) const {
        Jws jws(initialise(r_jws_init, "r_jws_init"));
        check(r_jws_set_alg(jws.get(), R_JWA_ALG_RS256), "r_jws_set_alg");
        check(r_jws_set_payload(jws.get(), message.data(), message.size()), "r_jws_set_payload");
        const Text text(requireNotNull(r_jws_serialize(jws.get(), signing_.get(), 0), "r_jws_serialize"));
        jws.reset();
        Jwe jwe(initialise(r_jwe_init, "r_jwe_init"));
        check(r_jwe_set_alg(jwe.get(), r_str_to_jwa_alg(algorithm_.c_str())), "r_jwe_set_alg");
        check(r_jwe_set_enc(jwe.get(), enc_), "r_jwe_set_enc");
        check(r_jwe_set_payload(jwe.get(), reinterpret_cast<const unsigned char*>(text.get()), std::strlen(text.get())),
              "r_jwe_set_payload");
        return jwe;
    }

    Jws unwrap(std::span<const std::uint8_t> token) const {
        const Jwe jwe(requireNotNull(
            r_jwe_quick_parsen(reinterpret_cast<const char*>(token.data()), token.size(), R_PARSE_NONE, 0),
            "r_jwe_quick_parsen"));
        check(r_jwe_decrypt(jwe.get(), decryption_.get(), 0), "r_jwe_decrypt");
        std::size_t size = 0;
        const auto* text = requireNotNull(r_jwe_get_payload(jwe.get(), &size), "r_jwe_get_payload");
        return Jws(requireNotNull(r_jws_quick_parsen(reinterpret_cast<const char*>(text), size, R_PARSE_NONE, 0),
                                  "r_jws_quick_parsen"));
    }

    std::shared_ptr<const Library> library_ = Library::get();
    std::string algorithm_;
    jwa_enc enc_;
    Jwk signing_, verification_, decryption_, encryption_;
};

}  // namespace

std::unique_ptr<Party> makeRhonabwy(const Keys& keys, const std::string& enc) {
    return makeNearest<Rhonabwy>(keys, enc);
}

}  // namespace Bench
