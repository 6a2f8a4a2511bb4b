#include "platform/collation/collation_locale.h"

#include <array>
#include <utility>

namespace tarvel {
namespace {

constexpr std::array<std::pair<std::string_view, std::string_view>, 3> kScripts{
    {{"latin", "Latn"}, {"cyrillic", "Cyrl"}, {"devanagari", "Deva"}}};

std::string_view scriptOf(std::string_view modifier) {
  for (const auto& [name, script] : kScripts) {
    if (modifier == name) return script;
  }
  return {};
}

}  // namespace

std::string collationLocale(std::string_view lcAll, std::string_view lcCollate, std::string_view lang) {
  std::string_view value = !lcAll.empty() ? lcAll : !lcCollate.empty() ? lcCollate : lang;
  if (value.find('/') != value.npos) return {};
  std::string_view modifier;
  if (const std::size_t at = value.find('@'); at != value.npos) {
    modifier = value.substr(at + 1);
    value = value.substr(0, at);
  }
  value = value.substr(0, value.find('.'));
  if (value == "C" || value == "POSIX") return {};

  const std::string_view script = scriptOf(modifier);
  const std::string_view language = value.substr(0, value.find('_'));
  std::string locale(language);
  if (!script.empty() && !language.empty()) locale.append("_").append(script);
  locale.append(value.substr(language.size()));
  return locale;
}

}  // namespace tarvel
