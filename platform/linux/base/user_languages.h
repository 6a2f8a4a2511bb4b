#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// The variables that select the language of messages; empty ones count as unset.
struct LanguageVariables {
  std::string_view language = {};  ///< LANGUAGE, a list with colons, best first
  std::string_view lcAll = {};
  std::string_view lcMessages = {};
  std::string_view lang = {};
};

/// The languages to look for, in order of preference: "de_AT.UTF-8@euro" gives "de_AT", "de-AT", "de". LANGUAGE counts
/// only if the locale (LC_ALL, else LC_MESSAGES, else LANG) is set and is neither "C" nor "POSIX", as for gettext;
/// without it, the locale itself counts. The list ends before English, whose texts are the keys themselves, so it is
/// empty for a user of English. No name can lead out of a folder.
[[nodiscard]] std::vector<std::string> preferredLanguages(const LanguageVariables& variables);

/// From this process's environment.
[[nodiscard]] std::vector<std::string> preferredLanguages();

}  // namespace tarvel
