#include "browser/host/removed_title.h"

#include <algorithm>
#include <array>

namespace tarvel {

namespace {

struct Beginning {
  std::string_view language;
  std::string_view text;
};

/// Folders are recognised by these, so an entry that was ever released must stay.
constexpr std::array<Beginning, 6> kBeginnings = {{
    {"en", "Removed by Tarvel, "},
    {"de", "Von Tarvel entfernt, "},
    {"es", "Quitado por Tarvel, "},
    {"fr", "Retiré par Tarvel, "},
    {"ja", "Tarvel による削除、"},
    {"sv", "Borttaget av Tarvel, "},
}};

}  // namespace

std::string titleOfRemoved(std::string_view language, std::string_view date) {
  const auto* found = std::ranges::find(kBeginnings, language, &Beginning::language);
  const Beginning& beginning = found == kBeginnings.end() ? kBeginnings.front() : *found;
  return std::string(beginning.text) + std::string(date);
}

bool isTitleOfRemoved(std::string_view title) {
  return std::ranges::any_of(kBeginnings, [title](const Beginning& each) { return title.starts_with(each.text); });
}

}  // namespace tarvel
