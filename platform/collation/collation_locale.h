#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// The ICU locale for the three variables that choose the order of text, by POSIX precedence: LC_ALL, then LC_COLLATE,
/// then LANG; an empty one counts as unset. "de_DE.UTF-8@euro" gives "de_DE"; a modifier that names a script is kept as
/// one ("sr_RS@latin" gives "sr_Latn_RS"). Nothing set, "C", "POSIX" and the path of a locale file give the root
/// locale, the empty string.
[[nodiscard]] std::string collationLocale(std::string_view lcAll, std::string_view lcCollate, std::string_view lang);

}  // namespace tarvel
