#include "platform/plist/xml_cursor.h"

#include <array>
#include <cstdint>
#include <utility>

#include "platform/plist/generalised_text.h"
#include "platform/plist/text_encoding.h"
#include "platform/plist/text_reading.h"

namespace tarvel {

namespace {

constexpr std::string_view kCdataOpening = "<![CDATA[";
constexpr std::string_view kCdataClosing = "]]>";

bool isSpace(char c) { return c == ' ' || c == '\t' || c == '\n' || c == '\r'; }

/// The length in bytes of the space character at the start of `text`, 0 if there is none.
std::size_t wideSpaceLength(std::string_view text) {
  if (isSpace(text[0])) return 1;
  if (text.size() < 3) return 0;
  if (text.starts_with("\xE2\x80")) {  // U+2000 to U+200B, U+202F
    const auto last = static_cast<std::uint8_t>(text[2]);
    return last <= 0x8B || last == 0xAF ? 3 : 0;
  }
  return text.starts_with("\xE2\x81\x9F") || text.starts_with("\xE3\x80\x80") ? 3 : 0;  // U+205F, U+3000
}

}  // namespace

void XmlCursor::skipSpace() {
  while (!atEnd() && isSpace(peek())) ++at_;
}

void XmlCursor::skipWideSpace() {
  while (!atEnd()) {
    const std::size_t length = wideSpaceLength(rest());
    if (length == 0) return;
    at_ += length;
  }
}

bool XmlCursor::skipComment() {
  constexpr std::string_view kClosing = "-->";
  const std::size_t end = text_.find(kClosing, at_);
  if (end == std::string_view::npos) return failOnLine("Unterminated comment started on line ");
  at_ = end + kClosing.size();
  return true;
}

bool XmlCursor::skipInstruction() {
  constexpr std::string_view kClosing = "?>";
  const std::size_t end = text_.find(kClosing, at_);
  if (end == std::string_view::npos) return failAtEnd();
  at_ = end + kClosing.size();
  return true;
}

bool XmlCursor::skipDocumentType() {
  constexpr std::string_view kName = "DOCTYPE";
  if (!startsWith(kName)) return failOnLine("Malformed DTD on line ");
  const std::size_t end = text_.find_first_of("[>", at_);
  if (end == std::string_view::npos) return fail("Encountered unexpected EOF while parsing DTD");
  at_ = end;
  // An internal subset could declare entities, so it is rejected.
  if (peek() == '[') return failOnLine("Encountered unexpected character [ on line ", " while parsing DTD");
  ++at_;
  return true;
}

std::optional<XmlCursor::Tag> XmlCursor::readTag() {
  const std::size_t start = at_;
  const std::size_t end = text_.find('>', start);
  if (end == std::string_view::npos) {
    at_ = text_.size();
    return std::nullopt;
  }
  Tag tag{text_.substr(start, end - start), false, start};
  tag.isEmpty = end > 0 && text_[end - 1] == '/';
  const std::size_t space = tag.name.find_first_of(" \t\n\r");
  if (space != std::string_view::npos) {
    tag.name = tag.name.substr(0, space);
  } else if (tag.isEmpty && !tag.name.empty()) {
    tag.name.remove_suffix(1);
  }
  if (tag.name.empty()) {
    failOnLine("Malformed tag on line ");
    return std::nullopt;
  }
  at_ = end + 1;
  return tag;
}

bool XmlCursor::readCloseTag(std::string_view name) {
  constexpr std::string_view kOpening = "</";
  constexpr const char* kLooking = " while looking for close tag";
  if (left() < kOpening.size() + name.size() + 1) return failAtEnd();
  for (const char expected : kOpening) {
    if (peek() != expected) {
      return failOnLine("Encountered unexpected character " + shownCharacter() + " on line ", kLooking);
    }
    ++at_;
  }
  if (!startsWith(name)) {
    return failOnLine("Close tag on line ", " does not match open tag " + std::string(name));
  }
  at_ += name.size();
  skipSpace();
  if (atEnd()) return failAtEnd();
  if (peek() != '>') return failOnLine("Encountered unexpected character " + shownCharacter() + " on line ", kLooking);
  ++at_;
  return true;
}

bool XmlCursor::readText(std::string_view& text) {
  scratch_.clear();
  bool isPlain = true;
  std::size_t start = at_;
  while (!atEnd()) {
    const char c = peek();
    const bool isCdata = c == '<' && left() > 1 && text_[at_ + 1] == '!';
    if (c == '<' && !isCdata) break;
    if (c != '&' && !isCdata) {
      ++at_;
      continue;
    }
    isPlain = false;
    scratch_.append(text_, start, at_ - start);
    if (isCdata ? !readCdata() : !readEntity()) return false;
    start = at_;
  }
  text = text_.substr(start, at_ - start);
  if (!isPlain) {
    scratch_.append(text);
    text = scratch_;
  }
  return isWellFormedUtf8(text) || fail("Unable to convert string to correct encoding");
}

bool XmlCursor::readCdata() {
  if (left() < kCdataOpening.size()) return failAtEnd();
  if (!startsWith(kCdataOpening)) return failOnLine("Encountered improper CDATA opening at line ");
  const std::size_t start = at_ + kCdataOpening.size();
  const std::size_t end = text_.find(kCdataClosing, start);
  if (end == std::string_view::npos) return failOnLine("Could not find end of CDATA started on line ");
  scratch_.append(text_, start, end - start);
  at_ = end + kCdataClosing.size();
  return true;
}

bool XmlCursor::readEntity() {
  static constexpr std::array<std::pair<std::string_view, char>, 5> kEntities = {
      {{"lt;", '<'}, {"gt;", '>'}, {"amp;", '&'}, {"apos;", '\''}, {"quot;", '"'}}};
  ++at_;
  if (atEnd()) return failAtEnd();
  if (peek() == '#') return readNumericEntity();
  for (const auto& [name, character] : kEntities) {
    if (!startsWith(name)) continue;
    scratch_.push_back(character);
    at_ += name.size();
    return true;
  }
  return failOnLine("Encountered unknown ampersand-escape sequence at line ");
}

bool XmlCursor::readNumericEntity() {
  constexpr int kMostDigits = 8;
  constexpr std::size_t kShortest = 4;
  if (left() < kShortest) return failAtEnd();
  ++at_;
  const bool isHex = peek() == 'x';
  if (isHex) ++at_;
  std::uint32_t codePoint = 0;
  int digits = 0;
  for (; !atEnd() && peek() != ';'; ++at_) {
    if (++digits > kMostDigits) {
      return failOnLine("Encountered unparseable unicode sequence at line ",
                        " while parsing data (too large of a value for a Unicode sequence)");
    }
    const int digit = hexDigitValue(peek());
    if (digit < 0 || (!isHex && digit > 9)) {
      return failOnLine("Encountered unexpected character " + shownCharacter() + " at line ", " while parsing data");
    }
    codePoint = codePoint * (isHex ? 16 : 10) + static_cast<std::uint32_t>(digit);
  }
  if (atEnd()) return failAtEnd();
  ++at_;
  if (codePoint > 0x10FFFF || (codePoint >= 0xD800 && codePoint <= 0xDFFF)) {
    return failOnLine("Encountered unparseable Unicode sequence at line ",
                      " while parsing data (input did not result in a real string)");
  }
  appendUtf8(codePoint, scratch_);
  return true;
}

bool XmlCursor::fail(std::string text) {
  if (!error_) error_ = PropertyListError{std::move(text), lineNumberAt(text_, at_), {}};
  return false;
}

bool XmlCursor::failOnLine(std::string_view before, std::string_view after) {
  return fail(std::string(before) + std::to_string(lineNumberAt(text_, at_)) + std::string(after));
}

std::string XmlCursor::shownCharacter() const {
  std::string shown;
  appendUtf8(static_cast<std::uint8_t>(peek()), shown);
  return shown;
}

}  // namespace tarvel
