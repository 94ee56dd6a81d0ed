// Marks results that may decide a branch although they come from a secret, for the constant-time check with valgrind.
#pragma once

#ifdef TORVANE_CONSTANT_TIME_CHECK
#include <valgrind/memcheck.h>
#endif

namespace Torvane::Crypto {

/// Returns `answer`, and tells the constant-time check that it may become known: whether a tag matches, for example, or
/// whether a text is base64url. Outside that check it only returns the answer.
inline bool declassify(bool answer) noexcept {
#ifdef TORVANE_CONSTANT_TIME_CHECK
    static_cast<void>(VALGRIND_MAKE_MEM_DEFINED(&answer, sizeof(answer)));
#endif
    return answer;
}

}  // namespace Torvane::Crypto
