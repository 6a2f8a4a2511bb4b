#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvel {

/// The most UTF-16 units of one title that take part in a comparison. ICU counts in 32-bit integers and one unit can
/// grow about twentyfold on the way to a sort key, so the limit keeps every length in range.
inline constexpr std::size_t kMaxTitleUnits = std::size_t{1} << 26;

/// Reads the UTF-8 character of `text` at `at`, which is before its end, and moves `at` past it. A surrogate written as
/// three bytes is that surrogate; every other ill-formed sequence, as far as it is well-formed, is one U+FFFD.
[[nodiscard]] char32_t nextCharacter(std::string_view text, std::size_t& at);

/// Appends `text` to `units` as UTF-16, character by character. Text past kMaxTitleUnits units is left out.
void appendUtf16(std::string_view text, std::u16string& units);

}  // namespace tarvel
