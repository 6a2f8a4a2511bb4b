#include "tools/compare/entry_text.h"

#include <cstddef>

namespace tarvel {

namespace {

constexpr std::size_t kLongestText = 1000;
constexpr std::size_t kLongestPath = 2000;
/// What a title takes besides its text.
constexpr std::size_t kTitleCost = 16;

}  // namespace

std::string shortenedText(std::string_view text) {
  if (text.size() <= kLongestText) return std::string(text);
  std::size_t end = kLongestText;
  while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80) --end;
  return std::string(text.substr(0, end)) + "…";
}

bool ShortenedPath::add(const std::string& title) {
  // The innermost title is always shown.
  const bool isFull = !titles_.empty() && size_ + title.size() + kTitleCost > kLongestPath;
  size_ += title.size() + kTitleCost;
  titles_.push_back(isFull ? "…" : title);
  return !isFull;
}

}  // namespace tarvel
