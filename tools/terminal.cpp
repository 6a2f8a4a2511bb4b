#include "tools/terminal.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <unistd.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

namespace tarvel {

namespace {

bool isSafe(UChar32 character) {
  switch (u_charType(character)) {
    case U_CONTROL_CHAR:
    case U_FORMAT_CHAR:
    case U_LINE_SEPARATOR:
    case U_PARAGRAPH_SEPARATOR:
    case U_SURROGATE:
      // A zero-width joiner only ties letters or emoji together.
      return character == 0x200D || character == 0x200C;
    default:
      return true;
  }
}

/// A lone surrogate is three bytes that the library's decoder refuses.
UChar32 surrogateAt(std::string_view text, int32_t at) {
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[i]); };
  const auto i = static_cast<std::size_t>(at);
  const bool isThere = i + 2 < text.size() && byte(i) == 0xED && byte(i + 1) >= 0xA0 && U8_IS_TRAIL(byte(i + 1)) &&
                       U8_IS_TRAIL(byte(i + 2));
  if (!isThere) return U_SENTINEL;
  return 0xD000 | (byte(i + 1) & 0x3F) << 6 | (byte(i + 2) & 0x3F);
}

}  // namespace

bool usesColor(ColorChoice choice, int descriptor) {
  if (choice != ColorChoice::kAuto) return choice == ColorChoice::kAlways;
  const char* noColor = std::getenv("NO_COLOR");
  const char* term = std::getenv("TERM");
  if (noColor != nullptr && *noColor != '\0') return false;
  if (term == nullptr || std::string_view(term) == "dumb") return false;
  return isatty(descriptor) == 1;
}

std::string printable(std::string_view text) {
  std::string shown;
  const auto* bytes = reinterpret_cast<const std::uint8_t*>(text.data());  // NOLINT: chars read as bytes
  const auto length = static_cast<int32_t>(text.size());
  for (int32_t at = 0; at < length;) {
    const int32_t start = at;
    UChar32 character = surrogateAt(text, at);
    if (character == U_SENTINEL) {
      U8_NEXT(bytes, at, length, character);
    } else {
      at += 3;
    }
    if (character >= 0 && isSafe(character)) {
      shown.append(text.substr(static_cast<std::size_t>(start), static_cast<std::size_t>(at - start)));
      continue;
    }
    std::array<char, 16> code{};
    (void)std::snprintf(code.data(), code.size(), "\\u{%04X}",
                        static_cast<unsigned>(character < 0 ? 0xFFFD : character));
    shown += code.data();
  }
  return shown;
}

std::string shellWord(const std::string& word) {
  std::string quoted = "'";
  for (const char c : printable(word)) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
  return quoted + "'";
}

std::string Painter::paint(std::string_view code, std::string_view text) const {
  if (!isColoring_) return std::string(text);
  return "\x1B[" + std::string(code) + "m" + std::string(text) + "\x1B[0m";
}

}  // namespace tarvel
