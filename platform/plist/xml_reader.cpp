#include "platform/plist/xml_reader.h"

#include <array>
#include <cmath>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/plist/binary_reader.h"
#include "platform/plist/text_encoding.h"
#include "platform/plist/xml_cursor.h"
#include "platform/plist/xml_values.h"

namespace tarvel {

namespace {

constexpr std::string_view kUidKey = "CF$UID";

enum class Element {
  kPlist,
  kArray,
  kDictionary,
  kKey,
  kString,
  kData,
  kDate,
  kReal,
  kInteger,
  kTrue,
  kFalse,
  kUnknown
};

constexpr std::array<std::pair<std::string_view, Element>, 11> kElements = {{{"string", Element::kString},
                                                                             {"key", Element::kKey},
                                                                             {"dict", Element::kDictionary},
                                                                             {"array", Element::kArray},
                                                                             {"integer", Element::kInteger},
                                                                             {"true", Element::kTrue},
                                                                             {"false", Element::kFalse},
                                                                             {"data", Element::kData},
                                                                             {"date", Element::kDate},
                                                                             {"real", Element::kReal},
                                                                             {"plist", Element::kPlist}}};

Element elementNamed(std::string_view name) {
  for (const auto& [known, element] : kElements) {
    if (known == name) return element;
  }
  return Element::kUnknown;
}

class XmlReader {
 public:
  XmlReader(std::string_view text, PropertyListTree& tree) : cursor_(text), tree_(tree) {}

  TextReading read();

 private:
  /// The result of reading one element. Without a value at the end of the container or text, and on failure, with the
  /// cursor's error set.
  struct Found {
    PropertyListValue value;
    bool isKey = false;
    explicit operator bool() const { return static_cast<bool>(value); }
  };

  [[nodiscard]] bool failed() const { return cursor_.error().has_value(); }

  Found readDocument();
  Found readObject();
  /// Skips a "<!" inside the root, where only comments are allowed.
  bool skipComment();
  Found readElement(const XmlCursor::Tag& tag);
  Found readLeaf(Element element, const XmlCursor::Tag& tag);
  Found readContainer(Element element, const XmlCursor::Tag& tag);
  Found readPlist();
  Found readArray();
  Found readDictionary();
  bool readEntries();
  Found makeDictionary(std::size_t firstKey, std::size_t firstValue);
  Found readUnknown(const XmlCursor::Tag& tag);
  PropertyListValue makeInteger(const XmlInteger& integer);

  /// Lets a failure be returned in one statement.
  static Found nothing(bool) { return {}; }

  XmlCursor cursor_;
  PropertyListTree& tree_;
  std::size_t containers_ = 0;
  std::size_t wrappers_ = 0;
  // The entries of all open containers; those of the innermost are last. One allocation serves all of them.
  std::vector<PropertyListValue> keys_;
  std::vector<PropertyListValue> values_;
};

TextReading XmlReader::read() {
  TextReading reading;
  const Found root = readDocument();
  reading.error = cursor_.error();
  if (!reading.error) reading.root = root.value;
  return reading;
}

XmlReader::Found XmlReader::readDocument() {
  while (!failed() && !cursor_.atEnd()) {
    cursor_.skipSpace();
    if (cursor_.left() < 2) return nothing(cursor_.fail("No XML content found"));
    if (cursor_.peek() != '<') {
      return nothing(cursor_.failOnLine("Unexpected character " + cursor_.shownCharacter() + " at line "));
    }
    cursor_.advance();
    if (cursor_.startsWith("!--")) {
      cursor_.advance(3);
      cursor_.skipComment();
    } else if (cursor_.startsWith("!")) {
      cursor_.advance();
      cursor_.skipDocumentType();
    } else if (cursor_.startsWith("?")) {
      cursor_.advance();
      cursor_.skipInstruction();
    } else {
      const auto tag = cursor_.readTag();
      return tag ? readElement(*tag) : Found{};
    }
  }
  return nothing(cursor_.failAtEnd());
}

XmlReader::Found XmlReader::readObject() {
  while (!failed() && !cursor_.atEnd()) {
    cursor_.skipSpace();
    if (cursor_.left() < 2) {
      if (cursor_.atEnd() || cursor_.peek() == '<') return nothing(cursor_.failAtEnd());
    }
    if (cursor_.peek() != '<') {
      return nothing(cursor_.failOnLine("Encountered unexpected character " + cursor_.shownCharacter() + " on line ",
                                        " while looking for open tag"));
    }
    if (cursor_.startsWith("</")) return {};
    cursor_.advance();
    if (cursor_.startsWith("?")) {
      cursor_.advance();
      cursor_.skipInstruction();
    } else if (cursor_.startsWith("!")) {
      if (!skipComment()) return {};
    } else {
      const auto tag = cursor_.readTag();
      return tag ? readElement(*tag) : Found{};
    }
  }
  return {};
}

bool XmlReader::skipComment() {
  if (!cursor_.startsWith("!--")) return cursor_.failAtEnd();
  cursor_.advance(3);
  return cursor_.skipComment();
}

XmlReader::Found XmlReader::readElement(const XmlCursor::Tag& tag) {
  const Element element = elementNamed(tag.name);
  switch (element) {
    case Element::kPlist:
    case Element::kArray:
    case Element::kDictionary:
      return readContainer(element, tag);
    case Element::kUnknown:
      return readUnknown(tag);
    default:
      return readLeaf(element, tag);
  }
}

XmlReader::Found XmlReader::readUnknown(const XmlCursor::Tag& tag) {
  const std::string shown = isWellFormedUtf8(tag.name) ? shortened(tag.name) : "(null)";
  cursor_.returnTo(tag.place);
  return nothing(cursor_.failOnLine("Encountered unknown tag " + shown + " on line "));
}

XmlReader::Found XmlReader::readLeaf(Element element, const XmlCursor::Tag& tag) {
  const bool isText = element == Element::kString || element == Element::kKey;
  const bool isBoolean = element == Element::kTrue || element == Element::kFalse;
  Found found;
  if (tag.isEmpty && !isText && !isBoolean) {
    return nothing(cursor_.failOnLine("Encountered empty <" + std::string(tag.name) + "> on line "));
  }
  if (isText) {
    std::string_view text;
    if (!tag.isEmpty && !cursor_.readText(text)) return {};
    found = {tree_.makeString(text), element == Element::kKey};
  } else if (isBoolean) {
    if (!tag.isEmpty && !cursor_.atEnd() && !cursor_.startsWith("</")) {
      return nothing(cursor_.failOnLine("Encountered non-empty <" + std::string(tag.name) + "> on line "));
    }
    found.value = tree_.makeBoolean(element == Element::kTrue);
  } else if (element == Element::kInteger) {
    if (const auto integer = readXmlInteger(cursor_)) found.value = makeInteger(*integer);
  } else if (element == Element::kReal) {
    if (const auto real = readXmlReal(cursor_)) found.value = tree_.makeReal(*real);
  } else if (element == Element::kDate) {
    if (const auto date = readXmlDate(cursor_)) found.value = tree_.makeDate(*date);
  } else if (const auto data = readXmlData(cursor_)) {
    found.value = tree_.makeData(*data);
  }
  if (failed() || (!tag.isEmpty && !cursor_.readCloseTag(tag.name))) return {};
  return found;
}

PropertyListValue XmlReader::makeInteger(const XmlInteger& integer) {
  if (!integer.isNegative) return tree_.makeUnsigned(integer.magnitude);
  return tree_.makeInteger(static_cast<std::int64_t>(-integer.magnitude));
}

XmlReader::Found XmlReader::readContainer(Element element, const XmlCursor::Tag& tag) {
  // <plist> elements are not containers of the list, but their nesting is limited too.
  std::size_t& depth = element == Element::kPlist ? wrappers_ : containers_;
  if (depth == kMaxDepth) {
    return nothing(cursor_.failOnLine("Too many nested arrays or dictionaries, failing on line "));
  }
  if (tag.isEmpty) {
    if (element == Element::kArray) return {tree_.makeArray(0).value()};
    if (element == Element::kDictionary) return {tree_.makeDictionary().value()};
    return nothing(cursor_.fail("Encountered empty plist tag"));
  }
  ++depth;
  Found found;
  switch (element) {
    case Element::kArray:
      found = readArray();
      break;
    case Element::kDictionary:
      found = readDictionary();
      break;
    default:
      found = readPlist();
      break;
  }
  --depth;
  if (failed() || !cursor_.readCloseTag(tag.name)) return {};
  return found;
}

XmlReader::Found XmlReader::readPlist() {
  const Found root = readObject();
  if (!root) return nothing(failed() || cursor_.fail("Encountered empty plist tag"));
  const std::size_t end = cursor_.place();
  if (readObject()) {
    cursor_.returnTo(end);
    cursor_.failOnLine("Encountered unexpected element at line ", " (plist can only include one object)");
  }
  return {root.value};
}

XmlReader::Found XmlReader::readArray() {
  const std::size_t first = values_.size();
  while (const Found element = readObject()) values_.push_back(element.value);
  if (failed()) return {};
  const PropertyListArray array = tree_.makeArray(values_.size() - first);
  for (std::size_t i = first; i < values_.size(); ++i) array.append(values_[i]);
  values_.resize(first);
  return {array.value()};
}

XmlReader::Found XmlReader::readDictionary() {
  const std::size_t firstKey = keys_.size();
  const std::size_t firstValue = values_.size();
  if (!readEntries()) return {};
  const Found dictionary = makeDictionary(firstKey, firstValue);
  keys_.resize(firstKey);
  values_.resize(firstValue);
  return dictionary;
}

bool XmlReader::readEntries() {
  for (;;) {
    cursor_.skipSpace();
    const std::size_t start = cursor_.place();
    const Found key = readObject();
    if (!key) return !failed();
    if (!key.isKey) {
      cursor_.returnTo(start);
      return cursor_.failOnLine("Found non-key inside <dict> at line ");
    }
    keys_.push_back(key.value);
    const Found value = readObject();
    if (failed()) return false;
    if (!value) return cursor_.failOnLine("Value missing for key inside <dict> at line ");
    values_.push_back(value.value);
  }
}

/// A dictionary whose only key is CF$UID and whose value is a number is a UID, for which XML has no element.
XmlReader::Found XmlReader::makeDictionary(std::size_t firstKey, std::size_t firstValue) {
  const std::span<const PropertyListValue> keys = std::span(keys_).subspan(firstKey);
  const std::span<const PropertyListValue> values = std::span(values_).subspan(firstValue);
  if (keys.size() == 1 && keys[0].string() == kUidKey) {
    constexpr double kTwoTo63 = 9223372036854775808.0;
    if (const auto integer = values[0].integer()) return {tree_.makeUid(static_cast<std::uint32_t>(*integer))};
    if (const auto real = values[0].real(); real && std::fabs(*real) < kTwoTo63) {
      return {tree_.makeUid(static_cast<std::uint32_t>(static_cast<std::int64_t>(*real)))};
    }
  }
  return {tree_.makeDictionary(keys, values).value()};
}

}  // namespace

TextReading readXml(std::span<const std::uint8_t> bytes, PropertyListTree& tree) {
  const TextEncoding encoding = detectEncoding(bytes);
  if (!encoding.error.empty()) return {{}, PropertyListError{encoding.error, 0, {}}};
  const DecodedText decoded(bytes, encoding, DecodedText::Halves::kEnd);
  if (!decoded.isValid()) return {{}, PropertyListError{"Unable to convert string to correct encoding", 0, {}}};
  return XmlReader(decoded.text(), tree).read();
}

}  // namespace tarvel
