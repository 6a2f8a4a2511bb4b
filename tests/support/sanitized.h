#pragma once

namespace tarvel {

/// Whether this program runs under AddressSanitizer, which slows it down and retains freed memory. GCC defines a macro,
/// Clang answers a question.
#if defined(__SANITIZE_ADDRESS__)
inline constexpr bool kIsSanitized = true;
#elif defined(__has_feature)
inline constexpr bool kIsSanitized = __has_feature(address_sanitizer);
#else
inline constexpr bool kIsSanitized = false;
#endif

}  // namespace tarvel
