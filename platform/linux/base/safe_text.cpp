#include "platform/linux/base/safe_text.h"

#include <unicode/uchar.h>
#include <unicode/utf16.h>
#include <unicode/utf8.h>

#include <array>
#include <cstdint>
#include <cstdio>

namespace tarvel {

namespace {

constexpr UChar32 kReplacement = 0xFFFD;

bool isSafe(UChar32 character) {
  switch (u_charType(character)) {
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
    case U_SURROGATE:
      return character == 0x200D || character == 0x200C;
    default:
      return true;
  }
}

/// ICU's decoder rejects the three bytes of a lone surrogate.
UChar32 surrogateAt(std::string_view text, int32_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const auto i = static_cast<std::size_t>(at);
  const bool isThere = i + 2 < text.size() && byte(i) == 0xED && byte(i + 1) >= 0xA0 && U8_IS_TRAIL(byte(i + 1)) &&
                       U8_IS_TRAIL(byte(i + 2));
  if (!isThere) return U_SENTINEL;
  return 0xD000 | (byte(i + 1) & 0x3F) << 6 | (byte(i + 2) & 0x3F);
}

std::string formatted(const char* format, UChar32 character) {
  std::array<char, 16> code{};
  (void)std::snprintf(code.data(), code.size(), format, static_cast<unsigned>(character));
  return code.data();
}

std::string jsonEscape(UChar32 character) {
  constexpr const char* kUnit = "\\u%04X";
  if (character <= 0xFFFF) return formatted(kUnit, character);
  return formatted(kUnit, U16_LEAD(character)) + formatted(kUnit, U16_TRAIL(character));
}

/// `isKept` accepts control characters of the format's layout; `escape` formats a character.
template <typename IsKept, typename Escape>
std::string escaped(std::string_view text, IsKept isKept, Escape escape) {
  std::string shown;
  shown.reserve(text.size());
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());  // NOLINT: chars read as bytes
  // ICU counts in 32 bits; longer texts are processed in pieces cut between characters.
  constexpr std::size_t kPiece = std::size_t{1} << 30;
  if (text.size() > kPiece) {
    std::size_t cut = kPiece;
    while (cut > kPiece - 4 && U8_IS_TRAIL(bytes[cut])) --cut;
    return escaped(text.substr(0, cut), isKept, escape) + escaped(text.substr(cut), isKept, escape);
  }
  const auto length = static_cast<int32_t>(text.size());
  const auto isPlain = [bytes](int32_t at) { return bytes[at] >= 0x20 && bytes[at] < 0x7F; };
  for (int32_t at = 0; at < length;) {
    const int32_t start = at;
    // Most text is plain ASCII and copied in runs.
    while (at < length && isPlain(at)) ++at;
    if (at > start) {
      shown.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start)));
      continue;
    }
    UChar32 character = surrogateAt(text, at);
    if (character == U_SENTINEL) {
      U8_NEXT(bytes, at, length, character);
    } else {
      at += 3;
    }
    if (character >= 0 && (isSafe(character) || isKept(character))) {
      shown.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start)));
    } else {
      shown += escape(character < 0 ? kReplacement : character);
    }
  }
  return shown;
}

}  // namespace

std::string printable(std::string_view text) {
  return escaped(
      text, [](UChar32 /*character*/) { return false; },
      [](UChar32 character) { return formatted("\\u{%04X}", character); });
}

std::string quotedText(std::string_view text) { return "“" + printable(text) + "”"; }

std::string escapedJson(std::string_view json) {
  return escaped(
      json, [](UChar32 character) { return character == '\n'; }, jsonEscape);
}

std::string escapedXml(std::string_view xml) {
  return escaped(
      xml, [](UChar32 character) { return character == '\n' || character == '\t'; },
      [](UChar32 character) { return formatted("&#x%X;", character); });
}

}  // namespace tarvel
