#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// The variables that choose the language of messages; empty ones count as unset.
struct LanguageVariables {
  std::string_view language = {};  ///< LANGUAGE, a list with colons, best first
  std::string_view lcAll = {};
  std::string_view lcMessages = {};
  std::string_view lang = {};
};

/// The languages to look for, best first: "de_AT.UTF-8@euro" gives "de_AT", "de-AT", "de". The list counts where the
/// locale (LC_ALL, else LC_MESSAGES, else LANG) is set and is neither "C" nor "POSIX", as it does for every program
/// here; without a list the locale itself is the one wish. Ends before English, in which every text is its own key, so
/// it is empty for a user of English. No name in it could lead out of a folder.
[[nodiscard]] std::vector<std::string> preferredLanguages(const LanguageVariables& variables);

/// The same by this process's environment.
[[nodiscard]] std::vector<std::string> preferredLanguages();

}  // namespace tarvel
