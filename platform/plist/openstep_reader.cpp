#include "platform/plist/openstep_reader.h"

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include "platform/plist/binary_reader.h"
#include "platform/plist/generalised_text.h"
#include "platform/plist/nextstep_encoding.h"
#include "platform/plist/text_encoding.h"

namespace tarvel {

namespace {

// U+2028 and U+2029, which count as white space.
constexpr std::string_view kLineSeparator = "\xE2\x80\xA8";
constexpr std::string_view kParagraphSeparator = "\xE2\x80\xA9";

bool isUnquoted(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' || c == '$' ||
         c == '/' || c == ':' || c == '.' || c == '-';
}

bool isQuote(char c) { return c == '"' || c == '\''; }

/// A recursive-descent reader with limited depth.
///
/// As on the original platform, an unreadable value counts as missing, which is not an error in itself: an array ends
/// there and is valid if its closing parenthesis follows. Only a missing root is an error; the last fault is reported.
class OpenStepReader {
 public:
  OpenStepReader(std::string_view text, PropertyListTree& tree) : text_(text), tree_(tree) {}

  TextReading read();

 private:
  /// An error message in two parts, with the line number between them if `namesLine`.
  struct Fault {
    std::string before;
    std::string after;
    std::size_t place;
    bool namesLine;
  };

  PropertyListValue nothing(std::string before, std::string after = {}, bool namesLine = true);
  [[nodiscard]] PropertyListError error() const;

  PropertyListValue readObject(bool isRequired, std::size_t depth);
  PropertyListValue readUnexpected();
  PropertyListValue readDictionary(std::size_t depth);
  PropertyListValue readEntries(std::size_t depth);
  PropertyListValue readValue(const PropertyListValue& key, std::size_t depth);
  PropertyListValue readArray(std::size_t depth);
  PropertyListValue readData();
  PropertyListValue readString();
  PropertyListValue readQuoted(char quote);
  PropertyListValue readUnquoted();
  bool readEscape();
  char16_t readOctal();
  char16_t readUnicode();

  [[nodiscard]] bool atEnd() const { return at_ >= text_.size(); }
  [[nodiscard]] bool isAt(std::string_view text) const { return text_.substr(at_).starts_with(text); }
  [[nodiscard]] bool isAt(char c) const { return !atEnd() && text_[at_] == c; }
  [[nodiscard]] bool isAtLineEnd() const;
  /// Skips white space and comments. False at the end of the text.
  bool skipToToken();
  bool skipSpace();
  bool skipComment();

  std::string_view text_;
  PropertyListTree& tree_;
  std::size_t at_ = 0;
  std::string scratch_;
  Fault fault_{"Unexpected EOF while parsing plist", {}, 0, false};
  // The entries of all open containers; those of the innermost are last.
  std::vector<PropertyListValue> keys_;
  std::vector<PropertyListValue> values_;
};

TextReading OpenStepReader::read() {
  if (!skipToToken()) return {tree_.makeDictionary().value(), std::nullopt};
  const std::size_t start = at_;
  PropertyListValue root = readObject(true, 0);
  if (root && skipToToken()) {
    if (root.string()) {
      // A string with more text after it begins a strings file, which is read again from the start. Text after its last
      // entry is ignored.
      at_ = start;
      root = readEntries(0);
    } else {
      root = nothing("Junk after plist at line ");
    }
  }
  if (!root) return {{}, error()};
  return {root, std::nullopt};
}

PropertyListValue OpenStepReader::nothing(std::string before, std::string after, bool namesLine) {
  fault_ = {std::move(before), std::move(after), at_, namesLine};
  return {};
}

PropertyListError OpenStepReader::error() const {
  const std::uint64_t line = lineNumberAt(text_, fault_.place);
  const std::string number = fault_.namesLine ? std::to_string(line) : std::string();
  return {fault_.before + number + fault_.after, line, {}};
}

bool OpenStepReader::isAtLineEnd() const {
  return isAt('\n') || isAt('\r') || isAt(kLineSeparator) || isAt(kParagraphSeparator);
}

bool OpenStepReader::skipToToken() {
  while (!atEnd() && (skipSpace() || skipComment())) {
  }
  return !atEnd();
}

bool OpenStepReader::skipSpace() {
  const char c = text_[at_];
  if (c == ' ' || (c >= '\t' && c <= '\r')) {
    ++at_;
    return true;
  }
  if (!isAt(kLineSeparator) && !isAt(kParagraphSeparator)) return false;
  at_ += kLineSeparator.size();
  return true;
}

/// An unterminated comment extends to the end of the text.
bool OpenStepReader::skipComment() {
  if (isAt("//")) {
    for (at_ += 2; !atEnd() && !isAtLineEnd(); ++at_) {
    }
    return true;
  }
  if (!isAt("/*")) return false;
  const std::size_t end = text_.find("*/", at_ + 2);
  at_ = end == std::string_view::npos ? text_.size() : end + 2;
  return true;
}

PropertyListValue OpenStepReader::readObject(bool isRequired, std::size_t depth) {
  if (depth > kMaxDepth) return nothing("Too many nested arrays or dictionaries at line ");
  if (!skipToToken()) {
    return isRequired ? nothing("Unexpected EOF while parsing plist", {}, false) : PropertyListValue();
  }
  switch (text_[at_]) {
    case '{':
      ++at_;
      return readDictionary(depth);
    case '(':
      ++at_;
      return readArray(depth);
    case '<':
      ++at_;
      return readData();
    default:
      break;
  }
  if (isQuote(text_[at_]) || isUnquoted(text_[at_])) return readString();
  return isRequired ? readUnexpected() : PropertyListValue();
}

/// Reports the character here by its first UTF-16 unit.
PropertyListValue OpenStepReader::readUnexpected() {
  std::string utf16;
  appendUtf16FromUtf8(text_.substr(at_, 4), utf16);
  const auto byteAt = [&](std::size_t i) { return static_cast<unsigned>(static_cast<std::uint8_t>(utf16[i])); };
  char shown[16];
  std::snprintf(shown, sizeof shown, "0x%x", byteAt(0) << 8 | byteAt(1));
  return nothing("Unexpected character '" + std::string(shown) + "' at line ");
}

PropertyListValue OpenStepReader::readDictionary(std::size_t depth) {
  const PropertyListValue dictionary = readEntries(depth);
  if (!dictionary) return {};
  if (!skipToToken() || !isAt('}')) return nothing("Expected terminating '}' for dictionary at line ");
  ++at_;
  return dictionary;
}

/// Reads entries until there is no key.
PropertyListValue OpenStepReader::readEntries(std::size_t depth) {
  const std::size_t firstKey = keys_.size();
  const std::size_t firstValue = values_.size();
  PropertyListValue dictionary;
  for (;;) {
    const PropertyListValue key = skipToToken() ? readString() : PropertyListValue();
    if (!key) {
      dictionary =
          tree_.makeDictionary(std::span(keys_).subspan(firstKey), std::span(values_).subspan(firstValue)).value();
      break;
    }
    const PropertyListValue value = readValue(key, depth);
    if (!value) break;
    keys_.push_back(key);
    values_.push_back(value);
  }
  keys_.resize(firstKey);
  values_.resize(firstValue);
  return dictionary;
}

/// Reads what follows a key, up to and including the semicolon. A key without a value is its own value.
PropertyListValue OpenStepReader::readValue(const PropertyListValue& key, std::size_t depth) {
  constexpr const char* kMissing = "Missing ';' on line ";
  if (!skipToToken()) return nothing(kMissing);
  PropertyListValue value = key;
  if (isAt('=')) {
    ++at_;
    value = readObject(true, depth + 1);
    if (!value) return {};
  } else if (!isAt(';')) {
    return nothing("Expected ';' or '=' after key at line ");
  }
  if (!skipToToken() || !isAt(';')) return nothing(kMissing);
  ++at_;
  return value;
}

PropertyListValue OpenStepReader::readArray(std::size_t depth) {
  const std::size_t first = values_.size();
  bool isCutShort = false;
  while (const PropertyListValue element = readObject(false, depth + 1)) {
    values_.push_back(element);
    isCutShort = !skipToToken();
    if (isCutShort || !isAt(',')) break;
    ++at_;
  }
  const bool isClosed = !isCutShort && skipToToken() && isAt(')');
  PropertyListArray array;
  if (isClosed) {
    ++at_;
    array = tree_.makeArray(values_.size() - first);
    for (std::size_t i = first; i < values_.size(); ++i) array.append(values_[i]);
  }
  values_.resize(first);
  if (isClosed) return array.value();
  return nothing(isCutShort ? "Expected ',' for array at line " : "Expected terminating ')' for array at line ");
}

PropertyListValue OpenStepReader::readData() {
  std::vector<std::uint8_t> bytes;
  for (; !atEnd() && text_[at_] != '>'; ++at_) {
    const char c = text_[at_];
    if (c == ' ' || c == '\t' || c == '\n' || c == '\r') continue;
    if (isAt(kLineSeparator) || isAt(kParagraphSeparator)) {
      at_ += kLineSeparator.size() - 1;
      continue;
    }
    const int high = hexDigitValue(c);
    if (high < 0) return nothing("Malformed data byte group at line ", "; invalid hex");
    ++at_;
    const int low = atEnd() ? -1 : hexDigitValue(text_[at_]);
    if (low < 0) return nothing("Malformed data byte group at line ", "; uneven length");
    bytes.push_back(static_cast<std::uint8_t>(high << 4 | low));
  }
  if (atEnd()) return nothing("Expected terminating '>' for data at line ");
  ++at_;
  return tree_.makeData(bytes);
}

/// A quoted or unquoted string; absent if no string begins here.
PropertyListValue OpenStepReader::readString() {
  const char c = text_[at_];
  if (isQuote(c)) {
    ++at_;
    return readQuoted(c);
  }
  return isUnquoted(c) ? readUnquoted() : PropertyListValue();
}

PropertyListValue OpenStepReader::readUnquoted() {
  const std::size_t start = at_;
  while (!atEnd() && isUnquoted(text_[at_])) ++at_;
  return tree_.makeString(text_.substr(start, at_ - start));
}

PropertyListValue OpenStepReader::readQuoted(char quote) {
  const std::size_t opening = at_;
  scratch_.clear();
  std::size_t start = at_;
  while (!atEnd() && text_[at_] != quote) {
    if (text_[at_] != '\\') {
      ++at_;
      continue;
    }
    scratch_.append(text_, start, at_ - start);
    ++at_;
    if (!readEscape()) return nothing("Unterminated backslash sequence on line ");
    start = at_;
  }
  if (atEnd()) {
    at_ = opening;
    return nothing("Unterminated quoted string starting on line ");
  }
  const std::string_view tail = text_.substr(start, at_ - start);
  ++at_;
  if (start == opening) return tree_.makeString(tail);
  scratch_.append(tail);
  return tree_.makeString(scratch_);
}

/// Reads what follows a backslash. False at the end of the text.
bool OpenStepReader::readEscape() {
  if (atEnd()) return false;
  const char c = text_[at_];
  if (c >= '0' && c <= '7') {
    appendUtf8(readOctal(), scratch_);
    return true;
  }
  ++at_;
  if (c == 'U') {
    appendUtf8(readUnicode(), scratch_);
    return true;
  }
  constexpr std::string_view kLetters = "abfnrtv";
  constexpr std::string_view kMeanings = "\a\b\f\n\r\t\v";
  const std::size_t known = kLetters.find(c);
  scratch_.push_back(known == std::string_view::npos ? c : kMeanings[known]);
  return true;
}

/// Up to three digits, of which the low eight bits are used.
char16_t OpenStepReader::readOctal() {
  unsigned number = 0;
  for (int i = 0; i < 3 && !atEnd() && text_[at_] >= '0' && text_[at_] <= '7'; ++i, ++at_) {
    number = number << 3 | static_cast<unsigned>(text_[at_] - '0');
  }
  return fromNextStep(static_cast<std::uint8_t>(number));
}

/// Up to four digits: one UTF-16 unit. A character above U+FFFF takes two escapes.
char16_t OpenStepReader::readUnicode() {
  unsigned number = 0;
  for (int i = 0; i < 4 && !atEnd(); ++i, ++at_) {
    const int digit = hexDigitValue(text_[at_]);
    if (digit < 0) break;
    number = number << 4 | static_cast<unsigned>(digit);
  }
  return static_cast<char16_t>(number);
}

}  // namespace

TextReading readOpenStep(std::span<const std::uint8_t> bytes, PropertyListTree& tree) {
  const TextEncoding encoding = detectEncoding(bytes);
  if (!encoding.error.empty()) return {{}, PropertyListError{encoding.error, 0, {}}};
  const DecodedText decoded(bytes, encoding, DecodedText::Halves::kKeep);
  const bool isText = encoding.kind != TextEncoding::Kind::kUtf8 || isWellFormedUtf8(decoded.text());
  if (!decoded.isValid() || !isText) return {{}, PropertyListError{"Conversion of string failed.", 0, {}}};
  return OpenStepReader(decoded.text(), tree).read();
}

}  // namespace tarvel
