#include "tools/entry_text.h"

#include <cstddef>

namespace tarvel {

namespace {

constexpr std::size_t kLongestText = 1000;

}  // namespace

std::string shortenedText(std::string_view text) {
  if (text.size() <= kLongestText) return std::string(text);
  std::size_t end = kLongestText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end)) + "…";
}

}  // namespace tarvel
