#pragma once

#include <cstdint>

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

/// How many of `count` generated cases to try: a quarter in a sanitized program, which takes several times as long. It
/// looks for faults of memory in code whose answers the other build checks in all cases.
constexpr std::uint32_t casesOf(std::uint32_t count) { return kIsSanitized ? count / 4 : count; }

}  // namespace tarvel
