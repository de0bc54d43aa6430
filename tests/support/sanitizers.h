#pragma once

#if defined(__has_feature)
#define STURDY_HAS_FEATURE(feature) __has_feature(feature)
#else
#define STURDY_HAS_FEATURE(feature) 0
#endif

#if defined(__SANITIZE_THREAD__) || STURDY_HAS_FEATURE(thread_sanitizer)
#define STURDY_UNDER_TSAN
#endif
#if defined(__SANITIZE_ADDRESS__) || STURDY_HAS_FEATURE(address_sanitizer)
#define STURDY_UNDER_ASAN
#endif

// Whether the program is built with a sanitizer that replaces memory or thread functions.
inline constexpr bool kSanitized =
#if defined(STURDY_UNDER_TSAN) || defined(STURDY_UNDER_ASAN)
    true;
#else
    false;
#endif
