#include "platform/plist/generalised_text.h"

#include <cstring>

namespace tarvel {

namespace {

constexpr char32_t kReplacement = 0xFFFD;
constexpr char32_t kBadSequence = 0xFFFFFFFF;

void appendUnit(char32_t unit, std::string& utf16) {
  utf16.push_back(static_cast<char>(unit >> 8));
  utf16.push_back(static_cast<char>(unit & 0xFF));
}

/// The code point that starts at `at`, which moves past it; one byte further on a bad sequence.
char32_t decodeOne(std::string_view text, std::size_t& at) {
  const auto first = static_cast<std::uint8_t>(text[at++]);
  if (first < 0x80) return first;
  const std::size_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
  if (first < 0xC2 || first > 0xF4 || text.size() - at < more) return kBadSequence;
  char32_t codePoint = first & (0x3FU >> more);
  for (std::size_t i = 0; i < more; ++i) {
    const auto next = static_cast<std::uint8_t>(text[at + i]);
    if ((next & 0xC0) != 0x80) return kBadSequence;
    codePoint = codePoint << 6 | (next & 0x3F);
  }
  const bool overlong = (more == 2 && codePoint < 0x800) || (more == 3 && codePoint < 0x10000);
  if (overlong || codePoint > 0x10FFFF) return kBadSequence;
  at += more;
  return codePoint;
}

}  // namespace

bool isAscii(std::span<const std::uint8_t> bytes) {
  constexpr std::uint64_t kHighBits = 0x8080808080808080U;
  const std::uint8_t* at = bytes.data();
  std::size_t left = bytes.size();
  std::uint64_t seen = 0;
  for (; left >= 8; left -= 8, at += 8) {
    std::uint64_t word = 0;
    std::memcpy(&word, at, 8);
    seen |= word;
  }
  for (; left > 0; --left, ++at) seen |= *at;
  return (seen & kHighBits) == 0;
}

void appendUtf8(char32_t codePoint, std::string& text) {
  const auto put = [&text](char32_t byte) { text.push_back(static_cast<char>(byte)); };
  if (codePoint < 0x80) {
    put(codePoint);
  } else if (codePoint < 0x800) {
    put(0xC0 | codePoint >> 6);
    put(0x80 | (codePoint & 0x3F));
  } else if (codePoint < 0x10000) {
    put(0xE0 | codePoint >> 12);
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  } else {
    put(0xF0 | codePoint >> 18);
    put(0x80 | (codePoint >> 12 & 0x3F));
    put(0x80 | (codePoint >> 6 & 0x3F));
    put(0x80 | (codePoint & 0x3F));
  }
}

void appendUtf8FromUtf16(std::span<const std::uint8_t> utf16, std::string& text) {
  const std::size_t units = utf16.size() / 2;
  const auto unitAt = [utf16](std::size_t i) { return static_cast<char32_t>(utf16[2 * i] << 8 | utf16[2 * i + 1]); };
  for (std::size_t i = 0; i < units; ++i) {
    char32_t codePoint = unitAt(i);
    if (isHighSurrogate(codePoint) && i + 1 < units && isLowSurrogate(unitAt(i + 1))) {
      codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (unitAt(++i) - 0xDC00);
    }
    appendUtf8(codePoint, text);
  }
}

void appendUtf16FromUtf8(std::string_view text, std::string& utf16) {
  for (std::size_t at = 0; at < text.size();) {
    char32_t codePoint = decodeOne(text, at);
    if (codePoint == kBadSequence) codePoint = kReplacement;
    if (codePoint < 0x10000) {
      appendUnit(codePoint, utf16);
    } else {
      appendUnit(0xD800 + ((codePoint - 0x10000) >> 10), utf16);
      appendUnit(0xDC00 + ((codePoint - 0x10000) & 0x3FF), utf16);
    }
  }
}

}  // namespace tarvel
