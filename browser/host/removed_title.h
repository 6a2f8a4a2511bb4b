#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// The title of a folder of removed entries, in the language of the page ("de"); English for an unknown one. `date` is
/// "YYYY-MM-DD".
[[nodiscard]] std::string titleOfRemoved(std::string_view language, std::string_view date);

/// Whether a folder of this title holds removed entries, in whichever language it was made.
[[nodiscard]] bool isTitleOfRemoved(std::string_view title);

}  // namespace tarvel
