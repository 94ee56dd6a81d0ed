// Guard for OpenSSL's per-thread error queue.
#pragma once

#include <openssl/err.h>

namespace Torvane::Crypto {

/// Guard that leaves the thread's OpenSSL error queue as it found it. Every operation that calls OpenSSL runs under
/// one, its own or that of its caller, so that the application never finds an error of the library's in the queue.
///
/// The queue holds 16 errors and drops the oldest of more. So each round of a loop whose calls may fail has its own.
class ErrorScope {
  public:
    // ERR_set_mark() fails when the queue is empty.
    ErrorScope() noexcept : wasEmpty_(ERR_set_mark() == 0) {}
    ~ErrorScope() { ERR_pop_to_mark(); }
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;

    /// Whether OpenSSL has run out of memory in this scope. Always false when the queue had errors before.
    [[nodiscard]] bool ranOutOfMemory() const noexcept {
        return wasEmpty_ && ERR_GET_REASON(ERR_peek_error()) == ERR_R_MALLOC_FAILURE;
    }

  private:
    bool wasEmpty_;
};

}  // namespace Torvane::Crypto
