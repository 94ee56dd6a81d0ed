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
#include "torvane/platform/primitives/asymmetric_key.hpp"

namespace Torvane {
namespace {

using PKCS11::KeyInSession;
using PKCS11::Session;
using PKCS11::Token;
using PKCS11::URI;
using Login = Token::Login;

// A PIN in the URI takes precedence over the caller's source.
SecretSource choosePinSource(const URI& uri, SecretSource askForPin) {
    if (const char* value = uri.pinValue()) {
        const auto bytes = asBytes(value);
        return [pin = SecretBuffer(bytes.begin(), bytes.end())](std::string_view) { return pin; };
    }
    if (const char* file = uri.pinSource()) {
        return [path = readPath(file)](std::string_view) {
            auto pin = readFile(path);
            while (!pin.empty() && (pin.back() == '\n' || pin.back() == '\r')) pin.pop_back();
            return pin;
        };
    }
    return askForPin;
}

// The public components that the private key reveals, or else those of the public key or certificate with the same id.
PublicComponents findPublicComponents(Session& session, CK_OBJECT_HANDLE privateKey, const KeyName& name,
                                      const Token& token) {
    if (auto components = PKCS11::readPublicComponents(session, privateKey)) return std::move(*components);
    const KeyName sharedName = name.id.empty() ? name : KeyName{{}, name.id};
    for (const CK_OBJECT_CLASS objectClass : {CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
        if (sharedName == KeyName()) break;
        const auto object = PKCS11::findObject(session, objectClass, sharedName, token.description());
        if (!object) continue;
        if (auto components = PKCS11::readPublicComponents(session, *object)) return std::move(*components);
    }
    PKCS11::throwNotFound(session, CKO_PUBLIC_KEY, sharedName, token.description());
}

struct FoundKey {
    PKCS11::PrivateKey key;
    KeyName name;
    PublicComponents components;
};

// When there is no such key, the error names the class that the caller asked for: a private key may have been searched
// only because the public key was not found otherwise.
FoundKey findPrivateKey(Session& session, const KeyName& name, const Token& token,
                        CK_OBJECT_CLASS askedClass = CKO_PRIVATE_KEY) {
    const auto handle = PKCS11::findObject(session, CKO_PRIVATE_KEY, name, token.description());
    if (!handle) PKCS11::throwNotFound(session, askedClass, name, token.description());
    auto fullName = PKCS11::readName(session, *handle);
    auto components = findPublicComponents(session, *handle, fullName, token);
    return {{*handle, session.readFlag(*handle, CKA_ALWAYS_AUTHENTICATE)}, std::move(fullName), std::move(components)};
}

class Pkcs11Key final : public StoreKey {
  public:
    Pkcs11Key(std::shared_ptr<Token> token, FoundKey found, unsigned connection)
        : token_(std::move(token)),
          serialNumber_(token_->serialNumber()),
          publicKey_(std::move(found.components), std::move(found.name)),
          key_(found.key),
          connection_(connection) {}

    PublicComponents publicComponents() const override { return publicKey_.publicComponents(); }
    KeyName name() const override { return publicKey_.name(); }

    ByteBuffer sign(SignatureScheme scheme, HashFunction hash, ByteView digest) const override {
        return runWithKey([&](const KeyInSession& key) {
            return PKCS11::sign(key, scheme, hash, digest, publicKey_.signatureSize());
        });
    }

    std::optional<SecretBuffer> decrypt(HashFunction hash, ByteView ciphertext) const override {
        const auto& modulus = std::get<RSAPublicComponents>(publicKey_.publicComponents()).modulus;
        // Tokens report impossible ciphertexts in different ways, so these are rejected here.
        if (ciphertext.size() != modulus.size() || !isBelow(ciphertext, modulus)) return std::nullopt;
        return runWithKey([&](const KeyInSession& key) { return PKCS11::decrypt(key, hash, ciphertext); });
    }

    SecretBuffer agree(const SecKey& peer) const override {
        const auto& point = std::get<ECPublicComponents>(peer.publicComponents());
        return runWithKey([&](const KeyInSession& key) { return PKCS11::agree(key, point); });
    }

  private:
    static bool isBelow(ByteView a, ByteView b) noexcept {
        return std::lexicographical_compare(a.begin(), a.end(), b.begin(), b.end());
    }

    template <class Operation>
    std::invoke_result_t<Operation, const KeyInSession&> runWithKey(Operation operation) const {
        return token_->runInSession(Login::needed, [&](Session& session, unsigned connection) {
            return operation(KeyInSession{*token_, session, keyForConnection(session, connection)});
        });
    }

    // A handle is valid within one connection. After that the key is searched for again, which fails while a different
    // token is inserted.
    PKCS11::PrivateKey keyForConnection(Session& session, unsigned connection) const {
        const std::lock_guard lock(mutex_);
        if (connection != connection_) {
            try {
                key_ = findKeyAgain(session);
            } catch (const SecurityError&) {
                if (token_->serialNumber() != serialNumber_) session.requestReconnect();
                throw;
            }
            connection_ = connection;
        }
        return key_;
    }

    PKCS11::PrivateKey findKeyAgain(Session& session) const {
        auto found = findPrivateKey(session, name(), *token_);
        if (SecKey(std::move(found.components)).publicComponents() == publicComponents()) return found.key;
        throw KeyStoreError::keyNotFound("A different key now has the name of the opened key in " +
                                         token_->description() + ".");
    }

    const std::shared_ptr<Token> token_;
    const std::string serialNumber_;
    const SecKey publicKey_;
    mutable std::mutex mutex_;
    mutable PKCS11::PrivateKey key_;
    mutable unsigned connection_;
};

}  // namespace

class Pkcs11KeyStore::State {
  public:
    State(URI uri, SecretSource askForPin)
        : path_(uri.path()),
          keyName_(uri.keyName()),
          type_(uri.type()),
          hasPinSource_(askForPin || uri.pinValue() || uri.pinSource()) {
        auto source = choosePinSource(uri, std::move(askForPin));
        token_ = std::make_shared<Token>(std::move(uri), std::move(source));
    }

    const KeyName& keyName() const noexcept { return keyName_; }
    void allowLastTry() const noexcept { token_->allowLastTry(); }

    void requireType(KeyClass keyClass) const {
        const bool isPublic = type_ == CKO_PUBLIC_KEY || type_ == CKO_CERTIFICATE;
        if (!type_ || type_ == CKO_PRIVATE_KEY || (isPublic && keyClass == KeyClass::publicKey)) return;
        throw KeyStoreError::invalidURI(debugQuoted(path_) + " does not name a " +
                                        (keyClass == KeyClass::privateKey ? "private" : "public") + " key.");
    }

    SecKey privateKey(const KeyName& name, CK_OBJECT_CLASS askedClass = CKO_PRIVATE_KEY) const {
        return token_->runInSession(Login::needed, [&](Session& session, unsigned connection) {
            auto found = findPrivateKey(session, name, *token_, askedClass);
            return SecKey(std::make_shared<const Pkcs11Key>(token_, std::move(found), connection));
        });
    }

    SecKey publicKey(const KeyName& name) const {
        auto key = token_->runInSession(Login::notNeeded, [&](Session& session, unsigned) -> std::optional<SecKey> {
            for (const CK_OBJECT_CLASS objectClass : {CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
                const auto object = PKCS11::findObject(session, objectClass, name, token_->description());
                if (!object) continue;
                if (auto components = PKCS11::readPublicComponents(session, *object)) {
                    return SecKey(std::move(*components), PKCS11::readName(session, *object));
                }
            }
            if (!hasPinSource_) PKCS11::throwNotFound(session, CKO_PUBLIC_KEY, name, token_->description());
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
            const std::lock_guard lock(generateMutex_);
            token_->runInWritableSession([&](Session& session, unsigned) {
                requireUnusedName(session, "label", {name.label, {}});
                requireUnusedName(session, "id", {{}, name.id});
                generateIn(session, name);
            });
        }
        return privateKey(name);
    }

  private:
    void requireUnusedName(Session& session, const std::string& what, const KeyName& name) const {
        if (name == KeyName()) return;
        for (const CK_OBJECT_CLASS objectClass : {CKO_PRIVATE_KEY, CKO_PUBLIC_KEY, CKO_CERTIFICATE}) {
            PKCS11::Template attributes(objectClass, name);
            if (session.find(attributes).empty()) continue;
            throw KeyStoreError::operationFailed("A key or certificate with this " + what + " already exists in " +
                                                 token_->description() + ".");
        }
    }

    std::string path_;
    KeyName keyName_;
    std::optional<CK_OBJECT_CLASS> type_;
    bool hasPinSource_;
    std::shared_ptr<Token> token_;
    mutable std::mutex generateMutex_;
};

Pkcs11KeyStore::Pkcs11KeyStore(std::string_view uri, SecretSource askForPin)
    : state_(std::make_shared<State>(URI(uri), std::move(askForPin))) {}

const KeyName& Pkcs11KeyStore::keyName() const noexcept {
    return state_->keyName();
}

SecKey Pkcs11KeyStore::key(KeyClass keyClass) const {
    state_->requireType(keyClass);
    return key(keyName(), keyClass);
}

SecKey Pkcs11KeyStore::key(const KeyName& name, KeyClass keyClass) const {
    return keyClass == KeyClass::privateKey ? state_->privateKey(name) : state_->publicKey(name);
}

SecKey Pkcs11KeyStore::generateRSA(std::size_t modulusBits, const KeyName& name) const {
    Crypto::requireNewModulusSize(modulusBits);
    return state_->generate(
        name, [&](Session& session, const KeyName& fullName) { PKCS11::generateRSA(session, modulusBits, fullName); });
}

SecKey Pkcs11KeyStore::generateEC(EllipticCurve curve, const KeyName& name) const {
    return state_->generate(
        name, [&](Session& session, const KeyName& fullName) { PKCS11::generateEC(session, curve, fullName); });
}

void Pkcs11KeyStore::allowLastTry() const noexcept {
    state_->allowLastTry();
}

}  // namespace Torvane
