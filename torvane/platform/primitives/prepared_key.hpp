// Key with prepared contexts: each operation's context is set up at its first use, and copied at every use.
//
// Copying a context takes 0.1 us, setting one up takes 5 us.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// The operation that a context is for. Members that an operation does not use keep their defaults.
struct Purpose {
    enum class Operation { sign, verify, encrypt, decrypt, agree };

    Operation operation;
    HashFunction hash = HashFunction::SHA256;
    SignatureScheme scheme = SignatureScheme::ECDSA;

    friend bool operator==(const Purpose&, const Purpose&) = default;
};

/// A key and its contexts. May be used from several threads at once.
class PreparedKey {
  public:
    explicit PreparedKey(Pkey key) noexcept : key_(std::move(key)) {}

    EVP_PKEY* get() const noexcept { return key_.get(); }

    /// A new context, ready for one operation of this kind with this key.
    /// @throws SecurityError when the key cannot do that operation.
    PkeyContext makeContext(const Purpose& purpose) const;

  private:
    const EVP_PKEY_CTX* findOrPrepare(const Purpose& purpose) const;

    Pkey key_;
    mutable std::mutex mutex_;
    mutable std::vector<std::pair<Purpose, PkeyContext>> contexts_;
};

}  // namespace Torvane::Crypto
