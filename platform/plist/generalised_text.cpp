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

/// Decodes the code point at `at` and advances `at` past it, or by one byte on a malformed sequence.
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
  constexpr std::size_t kWord = sizeof kHighBits;
  const auto wordAt = [bytes](std::size_t at, std::size_t size) {
    std::uint64_t word = 0;
    std::memcpy(&word, bytes.data() + at, size);
    return word;
  };
  if (bytes.empty()) return true;
  if (bytes.size() < kWord) return (wordAt(0, bytes.size()) & kHighBits) == 0;
  // The last word may overlap the one before it.
  std::uint64_t seen = wordAt(bytes.size() - kWord, kWord);
  for (std::size_t at = 0; at + kWord <= bytes.size(); at += kWord) seen |= wordAt(at, kWord);
  return (seen & kHighBits) == 0;
}

namespace {

/// UTF-16 units of either byte order.
class Utf16Units {
 public:
  Utf16Units(std::span<const std::uint8_t> bytes, ByteOrder order)
      : bytes_(bytes), high_(order == ByteOrder::kBigEndian ? 0 : 1) {}

  [[nodiscard]] std::size_t count() const { return bytes_.size() / 2; }
  [[nodiscard]] char32_t at(std::size_t i) const {
    return static_cast<char32_t>(bytes_[2 * i + high_] << 8 | bytes_[2 * i + 1 - high_]);
  }
  [[nodiscard]] bool isPairAt(std::size_t i) const {
    return isHighSurrogate(at(i)) && i + 1 < count() && isLowSurrogate(at(i + 1));
  }

 private:
  std::span<const std::uint8_t> bytes_;
  std::size_t high_;  ///< Place of a unit's high byte: 0 or 1.
};

/// Writes one code point to `out`, and returns the end of what it wrote: at most four bytes.
char* putUtf8(char32_t codePoint, char* out) {
  const auto put = [&out](char32_t byte) { *out++ = static_cast<char>(byte); };
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
  return out;
}

}  // namespace

void appendUtf8(char32_t codePoint, std::string& text) {
  char bytes[4];
  text.append(bytes, putUtf8(codePoint, bytes));
}

void appendUtf8FromUtf16(std::span<const std::uint8_t> utf16, std::string& text, ByteOrder order) {
  const Utf16Units units(utf16, order);
  // Appended block by block: the text grows only by what it needs.
  constexpr std::size_t kBlock = 1024;
  constexpr std::size_t kLongestCodePoint = 4;
  char block[kBlock + kLongestCodePoint];
  char* out = block;
  for (std::size_t i = 0; i < units.count(); ++i) {
    char32_t codePoint = units.at(i);
    if (units.isPairAt(i)) codePoint = 0x10000 + ((codePoint - 0xD800) << 10) + (units.at(++i) - 0xDC00);
    out = putUtf8(codePoint, out);
    if (out < block + kBlock) continue;
    text.append(block, out);
    out = block;
  }
  text.append(block, out);
}

std::size_t sizeBeforeLoneSurrogate(std::span<const std::uint8_t> utf16, ByteOrder order) {
  const Utf16Units units(utf16, order);
  for (std::size_t i = 0; i < units.count(); ++i) {
    const bool isPair = units.isPairAt(i);
    if (!isPair && (isHighSurrogate(units.at(i)) || isLowSurrogate(units.at(i)))) return 2 * i;
    if (isPair) ++i;
  }
  return 2 * units.count();
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
