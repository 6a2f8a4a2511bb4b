#include "browser/host/json_strings.h"

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>

namespace tarvel {

namespace {

constexpr std::uint32_t kHighSurrogates = 0xD800;
constexpr std::uint32_t kLowSurrogates = 0xDC00;
constexpr std::uint32_t kSurrogatesEnd = 0xE000;
constexpr std::size_t kUnitDigits = 4;

/// Any code point below 0x110000, surrogates included.
void appendCodePoint(std::string& text, std::uint32_t code) {
  const auto byte = [&text](std::uint32_t value) { text.push_back(static_cast<char>(value)); };
  const auto continued = [&byte, code](unsigned shift) { byte(0x80 | ((code >> shift) & 0x3F)); };
  if (code < 0x80) {
    byte(code);
  } else if (code < 0x800) {
    byte(0xC0 | code >> 6);
    continued(0);
  } else if (code < 0x10000) {
    byte(0xE0 | code >> 12);
    continued(6);
    continued(0);
  } else {
    byte(0xF0 | code >> 18);
    continued(12);
    continued(6);
    continued(0);
  }
}

/// The UTF-16 unit of a "\u" escape whose digits begin at `at`.
std::optional<std::uint32_t> unitAt(std::string_view escaped, std::size_t at) {
  if (at + kUnitDigits > escaped.size()) return std::nullopt;
  std::uint32_t unit = 0;
  const char* const first = escaped.data() + at;
  const auto [end, error] = std::from_chars(first, first + kUnitDigits, unit, 16);
  if (error != std::errc() || end != first + kUnitDigits) return std::nullopt;
  return unit;
}

/// Decodes the "\u" escape whose digits begin at `at`, and the next one if both make a pair. Returns the end of what
/// was decoded.
std::optional<std::size_t> appendUnits(std::string& text, std::string_view escaped, std::size_t at) {
  const auto unit = unitAt(escaped, at);
  if (!unit) return std::nullopt;
  at += kUnitDigits;
  if (*unit >= kHighSurrogates && *unit < kLowSurrogates && escaped.substr(at).starts_with("\\u")) {
    const auto low = unitAt(escaped, at + 2);
    if (low && *low >= kLowSurrogates && *low < kSurrogatesEnd) {
      appendCodePoint(text, 0x10000 + ((*unit - kHighSurrogates) << 10) + (*low - kLowSurrogates));
      return at + 2 + kUnitDigits;
    }
  }
  appendCodePoint(text, *unit);
  return at;
}

std::optional<char> simpleEscape(char letter) {
  constexpr std::string_view kLetters = "\"\\/bfnrt";
  constexpr std::string_view kMeanings = "\"\\/\b\f\n\r\t";
  const std::size_t place = kLetters.find(letter);
  return place == std::string_view::npos ? std::nullopt : std::optional(kMeanings[place]);
}

/// A surrogate written as three bytes at `at`: 0xED, then 0xA0 or more.
bool isSurrogateAt(std::string_view text, std::size_t at) {
  return text[at] == '\xED' && at + 2 < text.size() && static_cast<std::uint8_t>(text[at + 1]) >= 0xA0;
}

void appendUnitEscape(std::string& json, std::uint32_t unit) {
  constexpr std::string_view kDigits = "0123456789abcdef";
  json += "\\u";
  for (const unsigned shift : {12U, 8U, 4U, 0U}) json.push_back(kDigits[(unit >> shift) & 0xF]);
}

}  // namespace

std::optional<std::string> decodedJsonString(std::string_view escaped) {
  std::string text;
  text.reserve(escaped.size());
  for (std::size_t at = 0; at < escaped.size();) {
    const std::size_t backslash = std::min(escaped.find('\\', at), escaped.size());
    text.append(escaped, at, backslash - at);
    at = backslash;
    if (at == escaped.size()) break;
    if (at + 1 == escaped.size()) return std::nullopt;
    const char letter = escaped[at + 1];
    if (letter == 'u') {
      const auto next = appendUnits(text, escaped, at + 2);
      if (!next) return std::nullopt;
      at = *next;
      continue;
    }
    const auto meaning = simpleEscape(letter);
    if (!meaning) return std::nullopt;
    text.push_back(*meaning);
    at += 2;
  }
  return text;
}

void appendJsonString(std::string& json, std::string_view text) {
  json.push_back('"');
  for (std::size_t at = 0; at < text.size(); ++at) {
    const auto byte = static_cast<std::uint8_t>(text[at]);
    if (byte == '"' || byte == '\\') {
      json.push_back('\\');
      json.push_back(text[at]);
    } else if (byte < 0x20) {
      appendUnitEscape(json, byte);
    } else if (isSurrogateAt(text, at)) {
      const auto bits = [&](std::size_t offset) { return static_cast<std::uint32_t>(text[at + offset] & 0x3F); };
      appendUnitEscape(json, 0xD000 | bits(1) << 6 | bits(2));
      at += 2;
    } else {
      json.push_back(text[at]);
    }
  }
  json.push_back('"');
}

}  // namespace tarvel
