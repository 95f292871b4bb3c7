#pragma once

namespace vantrel::tests {

#if defined(__has_feature)
inline constexpr bool kThreadSanitized = __has_feature(thread_sanitizer);
inline constexpr bool kSanitized = kThreadSanitized || __has_feature(address_sanitizer);
#elif defined(__SANITIZE_THREAD__)
inline constexpr bool kThreadSanitized = true;
inline constexpr bool kSanitized = true;
#elif defined(__SANITIZE_ADDRESS__)
inline constexpr bool kThreadSanitized = false;
inline constexpr bool kSanitized = true;
#else
inline constexpr bool kThreadSanitized = false;
inline constexpr bool kSanitized = false;
#endif

}  // namespace vantrel::tests
