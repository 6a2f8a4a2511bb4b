#include "platform/plist/text_encoding.h"

#include <algorithm>
#include <array>

#include "platform/plist/named_encoding.h"
#include "platform/plist/text_reading.h"

namespace tarvel {

namespace {

using Kind = TextEncoding::Kind;

struct Mark {
  std::string_view bytes;
  Kind kind;
};

// UTF-32 comes first: its little-endian mark begins with that of UTF-16.
constexpr Mark kMarks[] = {
    {{"\x00\x00\xFE\xFF", 4}, Kind::kUtf32BigEndian},
    {{"\xFF\xFE\x00\x00", 4}, Kind::kUtf32LittleEndian},
    {{"\xFF\xFE", 2}, Kind::kUtf16LittleEndian},
    {{"\xFE\xFF", 2}, Kind::kUtf16BigEndian},
    {{"\xEF\xBB\xBF", 3}, Kind::kUtf8},
};

TextEncoding failed(std::string error) {
  TextEncoding encoding;
  encoding.error = std::move(error);
  return encoding;
}

TextEncoding encodingNamed(std::string_view name) {
  std::string lower(name);
  std::ranges::transform(lower, lower.begin(),
                         [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c + 32) : c; });
  TextEncoding encoding;
  if (lower == "utf-8") return encoding;
  if (lower == "utf-16" || lower == "utf-16le") {
    encoding.kind = Kind::kUtf16LittleEndian;
  } else if (lower == "utf-16be") {
    encoding.kind = Kind::kUtf16BigEndian;
  } else if (knowsEncoding(lower)) {
    encoding.kind = Kind::kNamed;
    encoding.name = lower;
  } else {
    std::string shown;
    for (const char c : name) appendUtf8(static_cast<std::uint8_t>(c), shown);
    return failed("Encountered unknown encoding (" + shortened(shown) + ")");
  }
  return encoding;
}

/// The encoding named in an XML declaration. `rest` is the text after "<?xml".
TextEncoding declaredEncoding(std::string_view rest) {
  constexpr std::string_view kAttribute = "encoding=";
  constexpr const char* kCutShort = "End of buffer while looking for encoding name";
  const std::size_t end = rest.find_first_of("?>");
  const std::size_t attribute = rest.substr(0, end).find(kAttribute);
  if (attribute == std::string_view::npos) {
    if (end == std::string_view::npos) return failed(kCutShort);
    return {};
  }
  const std::size_t quote = attribute + kAttribute.size();
  if (quote >= rest.size()) return failed(kCutShort);
  if (rest[quote] != '"' && rest[quote] != '\'') return {};
  const std::size_t close = rest.find(rest[quote], quote + 1);
  if (close == std::string_view::npos) return failed(kCutShort);
  return encodingNamed(rest.substr(quote + 1, close - quote - 1));
}

}  // namespace

TextEncoding detectEncoding(std::span<const std::uint8_t> bytes) {
  const std::string_view text = textOf(bytes);
  TextEncoding encoding;
  for (const Mark& mark : kMarks) {
    if (!text.starts_with(mark.bytes)) continue;
    encoding.kind = mark.kind;
    encoding.markSize = mark.bytes.size();
    return encoding;
  }
  // A deliberate oddity, as on the original platform: UTF-16 without a mark is taken as little-endian, and its first
  // unit is skipped as if it were the mark.
  if (text.size() > 2 && (text[0] == '\0' || text[1] == '\0')) {
    encoding.kind = Kind::kUtf16LittleEndian;
    encoding.markSize = 2;
    return encoding;
  }
  constexpr std::string_view kDeclaration = "<?xml";
  if (text.starts_with(kDeclaration)) return declaredEncoding(text.substr(kDeclaration.size()));
  return encoding;
}

DecodedText::DecodedText(std::span<const std::uint8_t> bytes, const TextEncoding& encoding, Halves halves) {
  const auto body = bytes.subspan(encoding.markSize);
  const bool littleEndian = encoding.kind == Kind::kUtf16LittleEndian || encoding.kind == Kind::kUtf32LittleEndian;
  switch (encoding.kind) {
    case Kind::kUtf8:
      borrowed_ = textOf(body);
      isConverted_ = false;
      return;
    case Kind::kUtf16LittleEndian:
    case Kind::kUtf16BigEndian:
      convertUtf16(body, littleEndian ? ByteOrder::kLittleEndian : ByteOrder::kBigEndian, halves);
      return;
    case Kind::kUtf32LittleEndian:
    case Kind::kUtf32BigEndian:
      convertUtf32(body, littleEndian);
      return;
    case Kind::kNamed:
      isValid_ = convertNamed(encoding.name, body, converted_);
      return;
  }
}

void DecodedText::convertUtf16(std::span<const std::uint8_t> bytes, ByteOrder order, Halves halves) {
  if (halves == Halves::kEnd) bytes = bytes.first(sizeBeforeLoneSurrogate(bytes, order));
  const std::size_t units = bytes.size() / 2;
  converted_.reserve(units + units / 2);
  appendUtf8FromUtf16(bytes, converted_, order);
}

void DecodedText::convertUtf32(std::span<const std::uint8_t> bytes, bool littleEndian) {
  converted_.reserve(bytes.size() / 4);
  for (std::size_t i = 0; i + 4 <= bytes.size(); i += 4) {
    char32_t codePoint = 0;
    for (std::size_t k = 0; k < 4; ++k) codePoint = codePoint << 8 | bytes[littleEndian ? i + 3 - k : i + k];
    if (codePoint > 0x10FFFF || isHighSurrogate(codePoint) || isLowSurrogate(codePoint)) {
      isValid_ = false;
      return;
    }
    appendUtf8(codePoint, converted_);
  }
}

bool isWellFormedUtf8(std::string_view text) {
  const auto* at = reinterpret_cast<const std::uint8_t*>(text.data());  // NOLINT: chars read as bytes
  if (isAscii({at, text.size()})) return true;
  const std::uint8_t* end = at + text.size();
  while (at < end) {
    const std::uint8_t first = *at++;
    if (first < 0x80) continue;
    if (first < 0xC2 || first > 0xF4) return false;
    const std::ptrdiff_t more = first >= 0xF0 ? 3 : first >= 0xE0 ? 2 : 1;
    if (end - at < more) return false;
    // A narrower range of the second byte excludes overlong forms, surrogates and code points above U+10FFFF.
    const std::uint8_t least = first == 0xE0 ? 0xA0 : first == 0xF0 ? 0x90 : 0x80;
    const std::uint8_t most = first == 0xED ? 0x9F : first == 0xF4 ? 0x8F : 0xBF;
    if (*at < least || *at > most) return false;
    for (std::ptrdiff_t i = 1; i < more; ++i) {
      if ((at[i] & 0xC0U) != 0x80U) return false;
    }
    at += more;
  }
  return true;
}

}  // namespace tarvel
