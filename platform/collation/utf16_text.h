#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace tarvel {

/// The most UTF-16 units of one title that take part in a comparison. ICU counts in 32-bit integers and one unit can
/// grow about twentyfold on the way to a sort key, so the limit keeps every length in range.
inline constexpr std::size_t kMaxTitleUnits = std::size_t{1} << 26;

/// Appends `text` to `units` as UTF-16. A surrogate written as three bytes becomes that one unit, paired or not; every
/// other ill-formed sequence becomes one U+FFFD, its longest well-begun part counting as one sequence. Text past
/// kMaxTitleUnits units is left out.
void appendUtf16(std::string_view text, std::u16string& units);

}  // namespace tarvel
