#include "platform/plist/text_reading.h"

#include <algorithm>

namespace tarvel {

std::uint64_t lineNumberAt(std::string_view text, std::size_t place) {
  std::uint64_t line = 1;
  for (std::size_t i = 0; i < std::min(place, text.size()); ++i) {
    const bool isFirstOfPair = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (text[i] == '\n' || (text[i] == '\r' && !isFirstOfPair)) ++line;
  }
  return line;
}

std::string shortened(std::string_view text) {
  constexpr std::size_t kLongest = 128;
  if (text.size() <= kLongest) return std::string(text);
  std::size_t end = kLongest;
  while (end > 0 && (static_cast<std::uint8_t>(text[end]) & 0xC0U) == 0x80U) --end;
  return std::string(text.substr(0, end)) + "\u2026";
}

}  // namespace tarvel
