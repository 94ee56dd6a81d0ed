// A key with the contexts of its operations, each set up at its first use and copied at every use: to copy one takes
// 0.1 us, to set one up 5.
#pragma once

#include <mutex>
#include <utility>
#include <vector>

#include "torvane/platform/core/key_vocabulary.hpp"
#include "torvane/platform/primitives/openssl.hpp"

namespace Torvane::Crypto {

/// What a context is for. A member that means nothing to an operation keeps its default.
struct Purpose {
    enum class Operation { sign, verify, encrypt, decrypt, agree };

    Operation operation;
    HashFunction hash = HashFunction::SHA256;
    SignatureScheme scheme = SignatureScheme::ECDSA;

    friend bool operator==(const Purpose&, const Purpose&) = default;
};

/// Safe to use from several threads at once.
class PreparedKey {
  public:
    explicit PreparedKey(Pkey key) noexcept : key_(std::move(key)) {}

    EVP_PKEY* get() const noexcept { return key_.get(); }

    /// A context that is ready for one such operation with this key.
    PkeyContext context(const Purpose& purpose) const;

  private:
    const EVP_PKEY_CTX* prepared(const Purpose& purpose) const;

    Pkey key_;
    mutable std::mutex mutex_;
    mutable std::vector<std::pair<Purpose, PkeyContext>> contexts_;
};

}  // namespace Torvane::Crypto
