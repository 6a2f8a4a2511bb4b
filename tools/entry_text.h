#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// A text of a bookmarks file as reports keep it: they are for looking at, so one of more than 1000 bytes is cut,
/// between two characters, and ends in "…".
[[nodiscard]] std::string shortenedText(std::string_view text);

}  // namespace tarvel
