#include "torvane/platform/key_stores/pkcs11_key_store.hpp"

#include <algorithm>
#include <mutex>
#include <string>
#include <type_traits>
#include <utility>

#include "torvane/platform/core/error.hpp"
#include "torvane/platform/core/random.hpp"
#include "torvane/platform/key_stores/internal/file_io.hpp"
#include "torvane/platform/key_stores/internal/file_uri.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/objects.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/operations.hpp"
#include "torvane/platform/key_stores/internal/pkcs11/token.hpp"

namespace Torvane {
namespace {

using Crypto::Pkcs11Session;
using Crypto::Pkcs11Token;
using Crypto::Pkcs11URI;
using Crypto::Pkcs11Use;
using Login = Pkcs11Token::Login;

// The PIN that the URI has goes before the caller's.
SecretSource pinOf(const Pkcs11URI& uri, SecretSource source) {
    if (const char* value = uri.pinValue()) {
        const auto bytes = asBytes(value);
        return [pin = SecretBuffer(bytes.begin(), bytes.end())](std::string_view) { return pin; };
    }
    if (const char* file = uri.pinSource()) {
        return [path = pathOf(file)](std::string_view) {
            auto pin = readFile(path);
            while (!pin.empty() && (pin.back() == '\n' || pin.back() == '\r')) pin.pop_back();
            return pin;
        };
    }
    return source;
}

// By the numbers that the private key shows, or those of the public key or certificate beside it, which has its id.
PublicComponents publicComponentsOf(Pkcs11Session& session, CK_OBJECT_HANDLE privateKey, const KeyName& name,
                                    const Pkcs11Token& token) {
    if (auto shown = Crypto::publicComponents(session, privateKey)) return std::move(*shown);
    const KeyName shared = name.id.empty() ? name : KeyName{{}, name.id};
    for (const CK_OBJECT_CLASS objectClass : {CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
        if (shared == KeyName()) break;
        const auto beside = Crypto::findOne(session, objectClass, shared, token.name());
        if (!beside) continue;
        if (auto shown = Crypto::publicComponents(session, *beside)) return std::move(*shown);
    }
    Crypto::refuseMissing(session, CKO_PUBLIC_KEY, shared, token.name());
}

struct FoundKey {
    Crypto::Pkcs11PrivateKey key;
    KeyName name;
    PublicComponents components;
};

// An error names what was asked for: the private key may be the last place where a public half was looked for.
FoundKey findPrivateKey(Pkcs11Session& session, const KeyName& name, const Pkcs11Token& token,
                        CK_OBJECT_CLASS asked = CKO_PRIVATE_KEY) {
    const auto handle = Crypto::findOne(session, CKO_PRIVATE_KEY, name, token.name());
    if (!handle) Crypto::refuseMissing(session, asked, name, token.name());
    auto fullName = Crypto::nameOf(session, *handle);
    auto components = publicComponentsOf(session, *handle, fullName, token);
    return {{*handle, session.flag(*handle, CKA_ALWAYS_AUTHENTICATE)}, std::move(fullName), std::move(components)};
}

class TokenKey final : public StoreKey {
  public:
    TokenKey(std::shared_ptr<Pkcs11Token> token, FoundKey found, unsigned connection)
        : token_(std::move(token)),
          serialNumber_(token_->serialNumber()),
          publicKey_(std::move(found.components), std::move(found.name)),
          key_(found.key),
          connection_(connection) {}

    PublicComponents publicComponents() const override { return publicKey_.publicComponents(); }
    KeyName name() const override { return publicKey_.name(); }

    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        return use([&](const Pkcs11Use& with) {
            return Crypto::sign(with, scheme, hash, digest, publicKey_.signatureSize());
        });
    }

    std::optional<SecretBuffer> decrypt(HashFunction hash, ByteView ciphertext) const override {
        const auto& modulus = std::get<RSAPublicComponents>(publicKey_.publicComponents()).modulus;
        // No token is asked about what cannot be a ciphertext: they differ in what they say to it.
        if (ciphertext.size() != modulus.size() || !isBelow(ciphertext, modulus)) return std::nullopt;
        return use([&](const Pkcs11Use& with) { return Crypto::decrypt(with, hash, ciphertext); });
    }

    SecretBuffer agree(const SecKey& peer) const override {
        const auto& point = std::get<ECPublicComponents>(peer.publicComponents());
        return use([&](const Pkcs11Use& with) { return Crypto::agree(with, point); });
    }

  private:
    static bool isBelow(ByteView a, ByteView b) noexcept {
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
    }

    template <class Operation>
    std::invoke_result_t<Operation, const Pkcs11Use&> use(Operation operation) const {
        return token_->with(Login::needed, [&](Pkcs11Session& session, unsigned connection) {
            return operation(Pkcs11Use{*token_, session, keyWithin(session, connection)});
        });
    }

    // A handle is good within one connection. After that the key is looked for again, in vain for as long as another
    // token is in the place of its own.
    Crypto::Pkcs11PrivateKey keyWithin(Pkcs11Session& session, unsigned connection) const {
        const std::lock_guard lock(mutex_);
        if (connection != connection_) {
            try {
                key_ = findAgain(session);
            } catch (const SecurityError&) {
                if (token_->serialNumber() != serialNumber_) session.distrust();
                throw;
            }
            connection_ = connection;
        }
        return key_;
    }

    Crypto::Pkcs11PrivateKey findAgain(Pkcs11Session& session) const {
        auto found = findPrivateKey(session, name(), *token_);
        if (SecKey(std::move(found.components)).publicComponents() == publicComponents()) return found.key;
        throw KeyStoreError::keyNotFound("Another key is now in " + token_->name() +
                                         " under the name of the one that was opened.");
    }

    const std::shared_ptr<Pkcs11Token> token_;
    const std::string serialNumber_;
    const SecKey publicKey_;
    mutable std::mutex mutex_;
    mutable Crypto::Pkcs11PrivateKey key_;
    mutable unsigned connection_;
};

}  // namespace

class Pkcs11KeyStore::State {
  public:
    State(Pkcs11URI uri, SecretSource pin)
        : path_(uri.path()),
          keyName_(uri.keyName()),
          type_(uri.type()),
          hasPin_(pin || uri.pinValue() || uri.pinSource()) {
        auto source = pinOf(uri, std::move(pin));
        token_ = std::make_shared<Pkcs11Token>(std::move(uri), std::move(source));
    }

    const KeyName& keyName() const noexcept { return keyName_; }

    void requireType(KeyHalf half) const {
        const bool isPublic = type_ == CKO_PUBLIC_KEY || type_ == CKO_CERTIFICATE;
        if (!type_ || type_ == CKO_PRIVATE_KEY || (isPublic && half == KeyHalf::publicHalf)) return;
        throw KeyStoreError::invalidURI(debugQuoted(path_) + " names no " +
                                        (half == KeyHalf::privateHalf ? "private" : "public") + " key.");
    }

    SecKey privateKey(const KeyName& name, CK_OBJECT_CLASS asked = CKO_PRIVATE_KEY) const {
        return token_->with(Login::needed, [&](Pkcs11Session& session, unsigned connection) {
            auto found = findPrivateKey(session, name, *token_, asked);
            return SecKey(std::make_shared<const TokenKey>(token_, std::move(found), connection));
        });
    }

    SecKey publicKey(const KeyName& name) const {
        auto key = token_->with(Login::notNeeded, [&](Pkcs11Session& session, unsigned) -> std::optional<SecKey> {
            for (const CK_OBJECT_CLASS objectClass : {CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
                const auto object = Crypto::findOne(session, objectClass, name, token_->name());
                if (!object) continue;
                if (auto components = Crypto::publicComponents(session, *object)) {
                    return SecKey(std::move(*components), Crypto::nameOf(session, *object));
                }
            }
            if (!hasPin_) Crypto::refuseMissing(session, CKO_PUBLIC_KEY, name, token_->name());
            return std::nullopt;
        });
        return key ? std::move(*key) : privateKey(name, CKO_PUBLIC_KEY).publicKey();
    }

    template <class Generate>
    SecKey generate(KeyName name, Generate generateIn) const {
        if (name.id.empty()) {
            name.id.resize(16);
            secRandomCopyBytes(name.id);
        }
        {
            const std::lock_guard lock(generating_);
            token_->withWritable([&](Pkcs11Session& session, unsigned) {
                requireFree(session, {name.label, {}});
                requireFree(session, {{}, name.id});
                generateIn(session, name);
            });
        }
        return privateKey(name);
    }

  private:
    void requireFree(Pkcs11Session& session, const KeyName& name) const {
        if (name == KeyName()) return;
        for (const CK_OBJECT_CLASS objectClass : {CKO_PRIVATE_KEY, CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
            Crypto::Pkcs11Template attributes(objectClass, name);
            if (session.find(attributes).empty()) continue;
            throw KeyStoreError::operationFailed("A key is called so already in " + token_->name() + ".");
        }
    }

    std::string path_;
    KeyName keyName_;
    std::optional<CK_OBJECT_CLASS> type_;
    bool hasPin_;
    std::shared_ptr<Pkcs11Token> token_;
    mutable std::mutex generating_;
};

Pkcs11KeyStore::Pkcs11KeyStore(std::string_view uri, SecretSource pin)
    : state_(std::make_shared<State>(Pkcs11URI(uri), std::move(pin))) {}

const KeyName& Pkcs11KeyStore::keyName() const noexcept {
    return state_->keyName();
}

SecKey Pkcs11KeyStore::key(KeyHalf half) const {
    state_->requireType(half);
    return key(keyName(), half);
}

SecKey Pkcs11KeyStore::key(const KeyName& name, KeyHalf half) const {
    return half == KeyHalf::privateHalf ? state_->privateKey(name) : state_->publicKey(name);
}

SecKey Pkcs11KeyStore::generateRSA(std::size_t modulusBits, const KeyName& name) const {
    return state_->generate(
        name, [&](Pkcs11Session& session, const KeyName& full) { Crypto::generateRSA(session, modulusBits, full); });
}

SecKey Pkcs11KeyStore::generateEC(EllipticCurve curve, const KeyName& name) const {
    return state_->generate(
        name, [&](Pkcs11Session& session, const KeyName& full) { Crypto::generateEC(session, curve, full); });
}

}  // namespace Torvane
