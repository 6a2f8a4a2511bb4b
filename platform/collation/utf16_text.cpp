#include "platform/collation/utf16_text.h"

#include <cstdint>

namespace tarvel {
namespace {

constexpr char32_t kReplacement = 0xFFFD;

struct Lead {
  std::size_t trailing;  // bytes that must follow; 0 for a byte that cannot begin a sequence
  char32_t bits;
  unsigned char firstLow;  // the range of the first trailing byte, which excludes overlong forms
  unsigned char firstHigh;
};

Lead leadOf(unsigned char byte) {
  if (byte >= 0xC2 && byte <= 0xDF) return {1, static_cast<char32_t>(byte & 0x1F), 0x80, 0xBF};
  // 0xED keeps its full range, which includes the surrogates.
  if (byte >= 0xE0 && byte <= 0xEF) {
    return {2, static_cast<char32_t>(byte & 0x0F), static_cast<unsigned char>(byte == 0xE0 ? 0xA0 : 0x80), 0xBF};
  }
  if (byte >= 0xF0 && byte <= 0xF4) {
    return {3, static_cast<char32_t>(byte & 0x07), static_cast<unsigned char>(byte == 0xF0 ? 0x90 : 0x80),
            static_cast<unsigned char>(byte == 0xF4 ? 0x8F : 0xBF)};
  }
  return {0, 0, 0, 0};
}

}  // namespace

char32_t nextCharacter(std::string_view text, std::size_t& at) {
  const auto first = static_cast<unsigned char>(text[at++]);
  if (first < 0x80) return first;
  const Lead lead = leadOf(first);
  if (lead.trailing == 0) return kReplacement;
  char32_t character = lead.bits;
  for (std::size_t i = 0; i < lead.trailing; ++i) {
    if (at == text.size()) return kReplacement;
    const auto byte = static_cast<unsigned char>(text[at]);
    const unsigned char low = i == 0 ? lead.firstLow : 0x80;
    const unsigned char high = i == 0 ? lead.firstHigh : 0xBF;
    if (byte < low || byte > high) return kReplacement;
    character = (character << 6) | (byte & 0x3FU);
    ++at;
  }
  return character;
}

void appendUtf16(std::string_view text, std::u16string& units) {
  const std::size_t limit = units.size() + kMaxTitleUnits - 1;
  units.reserve(units.size() + text.size());
  for (std::size_t at = 0; at < text.size() && units.size() < limit;) {
    const char32_t character = nextCharacter(text, at);
    if (character < 0x10000) {
      units.push_back(static_cast<char16_t>(character));
    } else {
      units.push_back(static_cast<char16_t>(0xD7C0 + (character >> 10)));
      units.push_back(static_cast<char16_t>(0xDC00 + (character & 0x3FF)));
    }
  }
}

}  // namespace tarvel
