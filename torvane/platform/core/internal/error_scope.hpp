// Guard for OpenSSL's per-thread error queue.
#pragma once

#include <openssl/err.h>

namespace Torvane::Crypto {

/// Leaves the thread's OpenSSL error queue as it was found; one stands at the head of every function that
/// calls OpenSSL, or of the object whose functions do, so that no failure of ours is read by somebody else.
class ErrorScope {
  public:
    // There is nothing to mark in an empty queue.
    ErrorScope() noexcept : wasEmpty_(ERR_set_mark() == 0) {}
    ~ErrorScope() { ERR_pop_to_mark(); }
    ErrorScope(const ErrorScope&) = delete;
    ErrorScope& operator=(const ErrorScope&) = delete;

    /// Whether OpenSSL has run out of memory since, as far as the queue tells: not when there were errors before.
    bool ranOutOfMemory() const noexcept {
        return wasEmpty_ && ERR_GET_REASON(ERR_peek_error()) == ERR_R_MALLOC_FAILURE;
    }

  private:
    bool wasEmpty_;
};

}  // namespace Torvane::Crypto
