// The heap of C++ and of OpenSSL, watched: which blocks were given back and with what in them, how many are out, and
// a failure at the allocation of one's choice. For programs of one thread.
#pragma once

#include <cstddef>

#include "torvane/platform/bytes.hpp"

namespace Harness {

/// Keeps every block that is given back while it lives, so that what was left in them can be looked for.
class Quarantine {
  public:
    Quarantine() noexcept;
    ~Quarantine();
    Quarantine(const Quarantine&) = delete;
    Quarantine& operator=(const Quarantine&) = delete;

    /// Puts an end to it; what is given back later is not looked at.
    void close() noexcept;
    /// Whether the bytes stand in some block that was given back, forwards or, as in a big number, backwards.
    bool holds(Platform::ByteView bytes, bool inOpenSSLToo = true) const;
    std::size_t blocks() const noexcept;
};

/// Lets the n-th allocation from now on fail, once.
void failAllocation(std::size_t n) noexcept;
/// Whether that has happened; none fails after this call.
bool hasFailed() noexcept;
/// How many blocks are out.
std::size_t liveBlocks() noexcept;

}  // namespace Harness
