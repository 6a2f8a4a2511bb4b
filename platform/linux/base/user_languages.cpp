#include "platform/linux/base/user_languages.h"

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/text_components.h"

namespace tarvel {

namespace {

constexpr std::string_view kLetters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789_-";

std::string_view withoutEncoding(std::string_view locale) { return locale.substr(0, locale.find_first_of(".@")); }

std::string_view baseOf(std::string_view language) { return language.substr(0, language.find_first_of("_-")); }

bool isEnglish(std::string_view language) { return language == "C" || language == "POSIX" || baseOf(language) == "en"; }

void addOnce(std::vector<std::string>& languages, std::string language) {
  if (std::ranges::find(languages, language) == languages.end()) languages.push_back(std::move(language));
}

/// With both separators between language and region, as folders of translations use either.
void addForms(std::vector<std::string>& languages, std::string_view language) {
  std::string other(language);
  const bool hasUnderscore = other.find('_') != std::string::npos;
  std::ranges::replace(other, hasUnderscore ? '_' : '-', hasUnderscore ? '-' : '_');
  addOnce(languages, std::string(language));
  addOnce(languages, std::move(other));
  addOnce(languages, std::string(baseOf(language)));
}

std::string_view environmentText(const char* variable) {
  const char* text = std::getenv(variable);
  return text == nullptr ? std::string_view() : text;
}

}  // namespace

std::vector<std::string> preferredLanguages(const LanguageVariables& variables) {
  std::string_view locale = variables.lang;
  if (!variables.lcMessages.empty()) locale = variables.lcMessages;
  if (!variables.lcAll.empty()) locale = variables.lcAll;
  const std::string_view plain = withoutEncoding(locale);
  if (plain.empty() || plain == "C" || plain == "POSIX") return {};

  std::vector<std::string> languages;
  for (const std::string& wish : componentsSeparatedBy(variables.language.empty() ? locale : variables.language, ':')) {
    const std::string_view language = withoutEncoding(wish);
    if (language.empty() || language.find_first_not_of(kLetters) != std::string_view::npos) continue;
    if (isEnglish(language)) break;
    addForms(languages, language);
  }
  return languages;
}

std::vector<std::string> preferredLanguages() {
  return preferredLanguages({environmentText("LANGUAGE"), environmentText("LC_ALL"), environmentText("LC_MESSAGES"),
                             environmentText("LANG")});
}

}  // namespace tarvel
