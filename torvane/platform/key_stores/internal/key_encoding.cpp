#include "torvane/platform/key_stores/internal/key_encoding.hpp"

#include <algorithm>
#include <array>
#include <utility>

#include <openssl/bio.h>
#include <openssl/pem.h>
#include <openssl/pkcs12.h>
#include <openssl/x509.h>

#include "torvane/platform/key_stores/internal/derivation_cost.hpp"
#include "torvane/platform/key_stores/internal/pem_block.hpp"
#include "torvane/platform/primitives/asymmetric_key.hpp"

namespace Torvane::Crypto {
namespace {

void freeParts(STACK_OF(PKCS7) * parts) noexcept {
    sk_PKCS7_pop_free(parts, PKCS7_free);
}

using Bio = Handle<BIO, BIO_free>;
using PrivateKeyInfo = Handle<PKCS8_PRIV_KEY_INFO, PKCS8_PRIV_KEY_INFO_free>;
using EncryptedKey = Handle<X509_SIG, X509_SIG_free>;
using Certificate = Handle<X509, X509_free>;
using Pkcs12 = Handle<PKCS12, PKCS12_free>;
using Parts = Handle<STACK_OF(PKCS7), freeParts>;

// Iterations of PBKDF2: each guess at a passphrase takes a good part of a second.
constexpr int pbkdf2Iterations = 600'000;
// In bytes; OpenSSL 3.0 would take 8.
constexpr int saltSize = 16;

// At most this many objects of a text are read, including those that cannot be decoded.
constexpr int maximumObjects = 64;

// The longest encoding of a private key that is decoded, in bytes: an RSA key of 16384 bits takes 9.5 kB. OpenSSL
// multiplies all primes of a key while it decodes it, which takes minutes if there are thousands.
constexpr std::size_t maximumKeySize = 16'384;

// OpenSSL's own reader, OSSL_STORE, derives keys with whatever number of iterations a text asks for, and for PKCS #12
// even before it asks for a passphrase. So the objects of a text are found and decrypted here.
class KeyReader {
  public:
    // With `onlyAddsCost` nothing is derived or asked for, so that all objects are counted before the first derivation.
    KeyReader(const SecretSource& askForPassphrase, std::string_view origin, const Limits& limits, bool onlyAddsCost)
        : askForPassphrase_(askForPassphrase),
          origin_(origin),
          mostIterations_(limits.keyDerivationIterations),
          onlyAddsCost_(onlyAddsCost) {}

    KeysRead read(ByteView encoded) && {
        if (std::in_range<int>(encoded.size())) {
            const auto rest = readDer(encoded);
            if (!rest.empty()) readPem(rest);
        }
        return std::move(keys_);
    }

  private:
    // Decodes an object of DER, and removes it from the front of the text.
    template <class Object, auto Decode, class... Family>
    static Object decode(ByteView& encoded, Family... family) {
        const ErrorScope scope;
        const auto* end = encoded.data();
        Object object(Decode(family..., nullptr, &end, static_cast<long>(encoded.size())));
        if (object) encoded = encoded.subspan(static_cast<std::size_t>(end - encoded.data()));
        return object;
    }

    // Reads consecutive objects, and returns what is left behind the last one.
    ByteView readDer(ByteView encoded) {
        while (objects_ < maximumObjects && !encoded.empty() && readObject(encoded)) ++objects_;
        return encoded;
    }

    void readPem(ByteView encoded) {
        const Bio input(check(BIO_new_mem_buf(encoded.data(), toInt(encoded.size(), "set up a key reader")),
                              "set up a key reader"));
        for (; objects_ < maximumObjects && BIO_eof(input.get()) != 1; ++objects_) {
            const ErrorScope scope;
            PemBlock block;
            if (!block.read(input.get())) continue;
            auto encryption = block.readEncryption();
            if (!encryption) continue;
            const bool isEncrypted = encryption->cipher != nullptr;
            const auto passphrase = isEncrypted ? ask() : std::nullopt;
            const bool isDecrypted = !isEncrypted || (passphrase && block.decrypt(*encryption, *passphrase));
            auto data = block.data();
            const bool isRead = isDecrypted && readObject(data, block.label());
            keys_.remainsEncrypted |= isEncrypted && !isRead;
        }
    }

    // Decodes one object, in PEM of the type that the label names, and removes it from the front of the text. Returns
    // whether one was decoded, usable or not.
    bool readObject(ByteView& encoded, std::optional<std::string_view> label = {}) {
        // No encoding of one of these types is also an encoding of another.
        constexpr std::array<std::pair<std::string_view, bool (KeyReader::*)(ByteView&)>, 10> readers{{
            {{}, &KeyReader::readPkcs12},
            {"ENCRYPTED PRIVATE KEY", &KeyReader::readEncrypted},
            {"PRIVATE KEY", &KeyReader::readPkcs8},
            {"CERTIFICATE", &KeyReader::readCertificate},
            {"X509 CERTIFICATE", &KeyReader::readCertificate},
            {"TRUSTED CERTIFICATE", &KeyReader::readCertificate},
            {"RSA PRIVATE KEY", &KeyReader::readPrivate<EVP_PKEY_RSA>},
            {"EC PRIVATE KEY", &KeyReader::readPrivate<EVP_PKEY_EC>},
            {"PUBLIC KEY", &KeyReader::readPublic<d2i_PUBKEY>},
            {"RSA PUBLIC KEY", &KeyReader::readPublic<d2i_PublicKey, EVP_PKEY_RSA>},
        }};
        return std::ranges::any_of(readers, [&](const auto& reader) {
            return (!label || *label == reader.first) && (this->*reader.second)(encoded);
        });
    }

    bool readPkcs12(ByteView& encoded) {
        const auto file = decode<Pkcs12, d2i_PKCS12>(encoded);
        if (file) addPkcs12(file.get());
        return file != nullptr;
    }

    bool readEncrypted(ByteView& encoded) {
        const auto key = decode<EncryptedKey, d2i_X509_SIG>(encoded);
        if (key) addEncrypted(key.get());
        return key != nullptr;
    }

    bool readPkcs8(ByteView& encoded) {
        const auto info = decode<PrivateKeyInfo, d2i_PKCS8_PRIV_KEY_INFO>(encoded);
        if (info) addPrivate(info.get());
        return info != nullptr;
    }

    bool readCertificate(ByteView& encoded) {
        const auto certificate = decode<Certificate, d2i_X509>(encoded);
        if (certificate) add(keys_.certifiedKeys, Pkey(X509_get_pubkey(certificate.get())));
        return certificate != nullptr;
    }

    // OpenSSL would also decode a PKCS #8 key of any family here.
    template <int family>
    bool readPrivate(ByteView& encoded) {
        if (readPkcs8(encoded)) return true;
        auto start = encoded.first(std::min(encoded.size(), maximumKeySize));
        auto key = decode<Pkey, d2i_PrivateKey>(start, family);
        encoded = ByteView(start.data(), encoded.data() + encoded.size());
        return add(keys_.privateKeys, std::move(key));
    }

    template <auto decodeKey, int... family>
    bool readPublic(ByteView& encoded) {
        return add(keys_.publicKeys, decode<Pkey, decodeKey>(encoded, family...));
    }

    static bool add(std::vector<Pkey>& keys, Pkey key) {
        if (!key) return false;
        keys.push_back(std::move(key));
        return true;
    }

    // A key of another family than RSA and EC is only counted: OpenSSL would compute its public key, and a DSA or DH
    // key may be so long that this takes hours.
    bool addPrivate(const PKCS8_PRIV_KEY_INFO* info) {
        const ASN1_OBJECT* family = nullptr;
        const unsigned char* key = nullptr;
        int size = 0;
        check(PKCS8_pkey_get0(&family, &key, &size, nullptr, info), "read a key");
        const auto type = OBJ_obj2nid(family);
        if (type == NID_rsaEncryption || type == NID_X9_62_id_ecPublicKey) {
            return std::cmp_less_equal(size, maximumKeySize) && add(keys_.privateKeys, Pkey(EVP_PKCS82PKEY(info)));
        }
        return add(keys_.privateKeys, Pkey(check(EVP_PKEY_new(), "read a key")));
    }

    void addEncrypted(const X509_SIG* encrypted) {
        if (askForPassphrase_) {
            cost_.add(encrypted);
            requireAffordableCost();
        }
        const auto passphrase = ask();
        if (!passphrase || !addDecrypted(encrypted, *passphrase)) keys_.remainsEncrypted = true;
    }

    bool addDecrypted(const X509_SIG* encrypted, Passphrase passphrase) {
        const PrivateKeyInfo info(PKCS8_decrypt(encrypted, passphrase.text, passphrase.size));
        return info && addPrivate(info.get());
    }

    // Without a callback nothing is derived, not even from an empty passphrase.
    void addPkcs12(PKCS12* file) {
        const Parts parts(PKCS12_unpack_authsafes(file));
        const auto passphrase = parts ? findPassphrase(file, parts.get()) : std::nullopt;
        if (!passphrase) {
            keys_.remainsEncrypted = true;
            return;
        }
        const auto contents = decryptParts(parts.get(), *passphrase);
        bool hasKey = false;
        for (const auto& bags : contents) addBags(bags.get(), *passphrase, hasKey);
    }

    // The passphrase that the MAC of a PKCS #12 file belongs to. An empty one has two forms there.
    std::optional<Passphrase> findPassphrase(PKCS12* file, const STACK_OF(PKCS7) * parts) {
        if (!askForPassphrase_) return std::nullopt;
        cost_.add(file, parts);
        requireAffordableCost();
        if (onlyAddsCost_) return std::nullopt;
        for (const auto passphrase : {Passphrase{"", 0}, Passphrase{}}) {
            if (PKCS12_verify_mac(file, passphrase.text, passphrase.size) == 1) return passphrase;
        }
        const auto passphrase = ask();
        if (!passphrase || PKCS12_verify_mac(file, passphrase->text, passphrase->size) != 1) return std::nullopt;
        return passphrase;
    }

    // The contents of all parts. Only now can the cost of keys be added that are encrypted within an encrypted part.
    std::vector<Bags> decryptParts(STACK_OF(PKCS7) * parts, Passphrase passphrase) {
        std::vector<Bags> contents;
        for (int i = 0; i < sk_PKCS7_num(parts); ++i) {
            const ErrorScope scope;
            auto* part = sk_PKCS7_value(parts, i);
            const bool isEncrypted = PKCS7_type_is_encrypted(part) && part->d.encrypted != nullptr;
            if (!isEncrypted && !PKCS7_type_is_data(part)) continue;
            Bags bags(isEncrypted ? PKCS12_unpack_p7encdata(part, passphrase.text, passphrase.size)
                                  : PKCS12_unpack_p7data(part));
            if (bags && isEncrypted) cost_.add(bags.get());
            if (bags) {
                contents.push_back(std::move(bags));
            } else {
                keys_.remainsEncrypted = true;
            }
        }
        requireAffordableCost();
        return contents;
    }

    // Reads all certificates, but only the first private key: the others of a PKCS #12 file are not looked at.
    void addBags(const STACK_OF(PKCS12_SAFEBAG) * bags, Passphrase passphrase, bool& hasKey) {
        for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
            const ErrorScope scope;
            const auto* bag = sk_PKCS12_SAFEBAG_value(bags, i);
            if (const auto* inner = PKCS12_SAFEBAG_get0_safes(bag)) {
                addBags(inner, passphrase, hasKey);
            } else if (const Certificate certificate(PKCS12_SAFEBAG_get1_cert(bag)); certificate) {
                add(keys_.certifiedKeys, Pkey(X509_get_pubkey(certificate.get())));
            } else if (const auto* info = PKCS12_SAFEBAG_get0_p8inf(bag); info != nullptr && !hasKey) {
                hasKey = addPrivate(info);
            } else if (const auto* encrypted = PKCS12_SAFEBAG_get0_pkcs8(bag); encrypted != nullptr && !hasKey) {
                hasKey = addDecrypted(encrypted, passphrase);
                keys_.remainsEncrypted |= !hasKey;
            }
        }
    }

    void requireAffordableCost() const {
        if (cost_.total() <= mostIterations_) return;
        throw KeyStoreError::notSupported("Decrypting " + origin_ + " would take more than " +
                                          std::to_string(mostIterations_) + " iterations of key derivation.");
    }

    // Calls the callback at most once.
    std::optional<Passphrase> ask() {
        if (onlyAddsCost_) return std::nullopt;
        if (!std::exchange(wasAsked_, true) && askForPassphrase_) {
            answer_ = askForPassphrase_("the passphrase of " + origin_);
        }
        keys_.hadPassphrase = answer_.has_value();
        if (!answer_) return std::nullopt;
        // An empty buffer has no address, but the empty passphrase has one.
        return Passphrase{answer_->empty() ? "" : asText(*answer_).data(), toInt(answer_->size(), "take a passphrase")};
    }

    const SecretSource& askForPassphrase_;
    std::string origin_;
    std::uint64_t mostIterations_;
    bool onlyAddsCost_;
    bool wasAsked_ = false;
    std::optional<SecretBuffer> answer_;
    int objects_ = 0;
    DerivationCost cost_;
    KeysRead keys_;
};

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

KeysRead readKeys(ByteView encoded, const SecretSource& askForPassphrase, std::string_view origin,
                  const Limits& limits) {
    const ErrorScope scope;
    if (askForPassphrase) KeyReader(askForPassphrase, origin, limits, true).read(encoded);
    return KeyReader(askForPassphrase, origin, limits, false).read(encoded);
}

Pkey requireModulusWithin(const Limits& limits, Pkey key) {
    if (EVP_PKEY_get_base_id(key.get()) == EVP_PKEY_RSA &&
        std::cmp_greater(EVP_PKEY_get_bits(key.get()), limits.rsaBits)) {
        throw SecurityError("The RSA modulus has more than " + std::to_string(limits.rsaBits) + " bits.");
    }
    return key;
}

Pkey readKey(ByteView encoded, KeyClass keyClass, const SecretSource& askForPassphrase, std::string_view origin,
             const Limits& limits) {
    auto keys = readKeys(encoded, askForPassphrase, origin, limits);
    const auto take = [&limits](Pkey& key) { return requireModulusWithin(limits, std::move(key)); };
    if (keys.privateKeys.size() == 1) return requireConsistentPair(take(keys.privateKeys.front()));
    if (keyClass == KeyClass::publicKey && keys.privateKeys.empty()) {
        if (keys.publicKeys.size() == 1) return take(keys.publicKeys.front());
        if (keys.publicKeys.empty() && !keys.certifiedKeys.empty()) return take(keys.certifiedKeys.front());
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
            check(PKCS8_encrypt(-1, EVP_aes_256_cbc(), text.data(), toInt(text.size(), "encrypt a key"), nullptr,
                                saltSize, pbkdf2Iterations, info.get()),
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
