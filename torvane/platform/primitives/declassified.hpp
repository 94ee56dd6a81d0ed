// Where a secret decides a branch on purpose, for a check under valgrind that finds those where it must not.
#pragma once

#ifdef TORVANE_CONSTANT_TIME_CHECK
#include <valgrind/memcheck.h>
#endif

namespace Torvane::Crypto {

/// The answer to a question about a secret that may become known: whether a tag matches, whether a text is base64url.
inline bool declassified(bool answer) noexcept {
#ifdef TORVANE_CONSTANT_TIME_CHECK
    static_cast<void>(VALGRIND_MAKE_MEM_DEFINED(&answer, sizeof(answer)));
#endif
    return answer;
}

}  // namespace Torvane::Crypto
