#include "torvane/platform/key_stores/internal/key_encoding.hpp"

#include <climits>
#include <exception>
#include <utility>

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/store.h>
#include <openssl/ui.h>
#include <openssl/x509.h>

#include "torvane/platform/primitives/asymmetric_key.hpp"

namespace Torvane::Crypto {
namespace {

using Bio = Handle<BIO, BIO_free>;
using Store = Handle<OSSL_STORE_CTX, OSSL_STORE_close>;
using StoreInfo = Handle<OSSL_STORE_INFO, OSSL_STORE_INFO_free>;
using UiMethod = Handle<UI_METHOD, UI_destroy_method>;
using PrivateKeyInfo = Handle<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using EncryptedKey = Handle<X509_SIG, X509_SIG_free>;

// Iterations of PBKDF2: each guess at a passphrase takes a good part of a second.
constexpr int pbkdf2Iterations = 600'000;

// Calls the callback at most once, however often OpenSSL asks: it tries to decode a text in several ways.
class PassphrasePrompt {
  public:
    PassphrasePrompt(const SecretSource& askForPassphrase, std::string_view description)
        : askForPassphrase_(askForPassphrase), description_(description) {}

    [[nodiscard]] bool wasAsked() const noexcept { return wasAsked_; }
    [[nodiscard]] bool wasAnswered() const noexcept { return answer_.has_value(); }
    // Rethrows what the callback threw: an exception cannot pass through OpenSSL.
    void rethrow() const {
        if (thrown_) std::rethrow_exception(thrown_);
    }

    // Replaces OpenSSL's default method, which asks on the terminal.
    static UiMethod makeMethod() {
        UiMethod method(check(UI_create_method("passphrase"), "set up a key reader"));
        check(UI_method_set_reader(method.get(), read) == 0 ? 1 : 0, "set up a key reader");
        return method;
    }

  private:
    static int read(UI* ui, UI_STRING* prompt) noexcept {
        const auto type = UI_get_string_type(prompt);
        if (type != UIT_PROMPT && type != UIT_VERIFY) return 1;
        const auto* answer = static_cast<PassphrasePrompt*>(UI_get0_user_data(ui))->ask();
        if (answer == nullptr || !std::in_range<int>(answer->size())) return 0;
        const auto text = asText(*answer);
        return UI_set_result_ex(ui, prompt, text.data(), static_cast<int>(text.size())) >= 0 ? 1 : 0;
    }

    const SecretBuffer* ask() noexcept {
        if (!std::exchange(wasAsked_, true) && askForPassphrase_) {
            try {
                answer_ = askForPassphrase_(description_);
            } catch (...) {
                thrown_ = std::current_exception();
            }
        }
        return answer_ ? &*answer_ : nullptr;
    }

    const SecretSource& askForPassphrase_;
    std::string_view description_;
    bool wasAsked_ = false;
    std::optional<SecretBuffer> answer_;
    std::exception_ptr thrown_;
};

// At most this many objects of a text are read, including those that cannot be decoded.
constexpr int maximumObjects = 64;

void add(KeysRead& keys, const OSSL_STORE_INFO* info) {
    const auto append = [](std::vector<Pkey>& to, EVP_PKEY* key) {
        if (key != nullptr) to.emplace_back(key);
    };
    switch (OSSL_STORE_INFO_get_type(info)) {
        case OSSL_STORE_INFO_PKEY: return append(keys.privateKeys, OSSL_STORE_INFO_get1_PKEY(info));
        case OSSL_STORE_INFO_PUBKEY: return append(keys.publicKeys, OSSL_STORE_INFO_get1_PUBKEY(info));
        case OSSL_STORE_INFO_CERT: return append(keys.certifiedKeys, X509_get_pubkey(OSSL_STORE_INFO_get0_CERT(info)));
        default: return;
    }
}

// `expected` is a type of OSSL_STORE_INFO, or 0 for all types. OpenSSL recognises a PKCS #1 public key in DER only when
// a public key is expected.
void readInto(KeysRead& keys, ByteView encoded, int expected, const UI_METHOD* method, PassphrasePrompt& passphrase) {
    const Bio input(
        check(BIO_new_mem_buf(encoded.data(), toInt(encoded.size(), "set up a key reader")), "set up a key reader"));
    const Store store(
        check(OSSL_STORE_attach(input.get(), "file", nullptr, nullptr, method, &passphrase, nullptr, nullptr, nullptr),
              "set up a key reader"));
    if (expected != 0) check(OSSL_STORE_expect(store.get(), expected), "set up a key reader");
    for (int object = 0; object < maximumObjects && OSSL_STORE_eof(store.get()) == 0; ++object) {
        if (const StoreInfo info(OSSL_STORE_load(store.get())); info) {
            add(keys, info.get());
        } else {
            keys.remainsEncrypted = passphrase.wasAsked();
        }
    }
}

std::string describeCount(std::size_t count, const char* noun) {
    return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

[[noreturn]] void rejectKeys(const KeysRead& keys, KeyClass keyClass, std::string_view origin) {
    const std::string where(origin);
    if (keys.remainsEncrypted) {
        throw KeyStoreError::wrongSecret(keys.hadPassphrase ? "The passphrase does not decrypt " + where +
                                                                  ", or OpenSSL does not know its encryption."
                                                            : "A passphrase is needed for " + where + ".");
    }
    throw KeyStoreError::keyNotFound(std::string("Expected one ") +
                                     (keyClass == KeyClass::privateKey ? "private" : "public") + " key in " + where +
                                     ", found " + describeCount(keys.privateKeys.size(), "private key") + ", " +
                                     describeCount(keys.publicKeys.size(), "public key") + " and " +
                                     describeCount(keys.certifiedKeys.size(), "certificate") + ".");
}

template <class Container>
Container takeContents(const Bio& output) {
    const char* data = nullptr;
    const auto size = BIO_get_mem_data(output.get(), &data);
    return {data, data + size};
}

}  // namespace

KeysRead readKeys(ByteView encoded, const SecretSource& askForPassphrase, std::string_view description) {
    const ErrorScope scope;
    KeysRead keys;
    if (encoded.empty() || encoded.size() > static_cast<std::size_t>(INT_MAX)) return keys;
    const auto method = PassphrasePrompt::makeMethod();
    PassphrasePrompt passphrase(askForPassphrase, description);
    for (const int expected : {0, OSSL_STORE_INFO_PUBKEY}) {
        if (keys.isEmpty()) readInto(keys, encoded, expected, method.get(), passphrase);
    }
    passphrase.rethrow();
    keys.hadPassphrase = passphrase.wasAnswered();
    return keys;
}

Pkey readKey(ByteView encoded, KeyClass keyClass, const SecretSource& askForPassphrase, std::string_view origin) {
    auto keys = readKeys(encoded, askForPassphrase, "the passphrase of " + std::string(origin));
    if (keys.privateKeys.size() == 1) return requireConsistentPair(std::move(keys.privateKeys.front()));
    if (keyClass == KeyClass::publicKey && keys.privateKeys.empty()) {
        if (keys.publicKeys.size() == 1) return std::move(keys.publicKeys.front());
        if (keys.publicKeys.empty() && !keys.certifiedKeys.empty()) return std::move(keys.certifiedKeys.front());
    }
    rejectKeys(keys, keyClass, origin);
}

SecretBuffer writePrivateKeyPem(EVP_PKEY* key, const std::optional<SecretBuffer>& passphrase) {
    const ErrorScope scope;
    const PrivateKeyInfo info(check(EVP_PKEY2PKCS8(key), "write a key"));
    const Bio output(check(BIO_new(BIO_s_secmem()), "write a key"));
    if (passphrase) {
        const auto text = asText(*passphrase);
        const EncryptedKey encrypted(
            check(PKCS8_encrypt(-1, EVP_aes_256_cbc(), text.data(), toInt(text.size(), "encrypt a key"), nullptr, 0,
                                pbkdf2Iterations, info.get()),
                  "encrypt a key"));
        check(PEM_write_bio_PKCS8(output.get(), encrypted.get()), "write a key");
    } else {
        check(PEM_write_bio_PKCS8_PRIV_KEY_INFO(output.get(), info.get()), "write a key");
    }
    return takeContents<SecretBuffer>(output);
}

std::string writePublicKeyPem(const EVP_PKEY* key) {
    const ErrorScope scope;
    const Bio output(check(BIO_new(BIO_s_mem()), "write a public key"));
    check(PEM_write_bio_PUBKEY(output.get(), key), "write a public key");
    return takeContents<std::string>(output);
}

}  // namespace Torvane::Crypto
