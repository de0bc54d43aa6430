#pragma once

#if defined(__SANITIZE_THREAD__)
#define STURDY_UNDER_TSAN
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define STURDY_UNDER_TSAN
#endif
#endif

// Whether the program is built with a sanitizer that has memory or threads of its own.
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
inline constexpr bool kSanitized = true;
#elif defined(__has_feature)
#if __has_feature(address_sanitizer) || __has_feature(thread_sanitizer)
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kSanitized = false;
#endif
#else
inline constexpr bool kSanitized = false;
#endif
