// Checked versions of memcpy() and the like. The compiler includes this file before each source. It has no effect
// without optimisation or if the application chose a level, and sanitizers do not know the checked versions.
#if defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(memory_sanitizer) || __has_feature(thread_sanitizer)
#define TORVANE_SANITIZED
#endif
#endif
#if defined(__OPTIMIZE__) && !defined(_FORTIFY_SOURCE) && !defined(__SANITIZE_ADDRESS__) && \
    !defined(__SANITIZE_THREAD__) && !defined(TORVANE_SANITIZED)
#define _FORTIFY_SOURCE 2
#endif
