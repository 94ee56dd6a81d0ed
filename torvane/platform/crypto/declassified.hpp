// Where a secret decides a branch on purpose. Everywhere else time and memory access are independent of secrets.
#pragma once

#ifdef TORVANE_CONSTANT_TIME_CHECK
#include <valgrind/memcheck.h>
#endif

namespace Platform::Crypto {

/// The answer to a question about a secret that may become known: whether a tag matches, whether a number is a key.
inline bool declassified(bool answer) noexcept {
#ifdef TORVANE_CONSTANT_TIME_CHECK
    static_cast<void>(VALGRIND_MAKE_MEM_DEFINED(&answer, sizeof(answer)));
#endif
    return answer;
}

}  // namespace Platform::Crypto
