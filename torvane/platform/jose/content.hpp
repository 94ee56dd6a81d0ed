// Content, bytes that are written where they are needed: a long one never has to stand in memory as a whole.
#pragma once

#include <cstddef>
#include <functional>

#include "torvane/platform/core/bytes.hpp"

namespace Torvane::JOSE {

/// Takes the next piece of what somebody writes; the piece is valid for the length of the call.
using PieceSink = std::function<void(ByteView piece)>;

/// What an encryption is given piece by piece.
class TORVANE_EXPORT Content {
  public:
    virtual ~Content() = default;

    /// How many bytes writeTo() writes.
    virtual std::size_t size() const noexcept = 0;
    /// Writes all bytes, in consecutive pieces of any size. Called once.
    virtual void writeTo(const PieceSink& sink) = 0;
};

}  // namespace Torvane::JOSE
