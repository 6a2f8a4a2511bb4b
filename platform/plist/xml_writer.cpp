#include "platform/plist/xml_writer.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <memory>
#include <numeric>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/plist/base64.h"
#include "platform/plist/calendar.h"
#include "platform/plist/generalised_text.h"
#include "platform/plist/text_output.h"
#include "platform/plist/tree_storage.h"
#include "platform/plist/writable_check.h"

namespace tarvel {

namespace {

constexpr std::string_view kHead =
    "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
    "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" \"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
    "<plist version=\"1.0\">\n";
constexpr std::string_view kTail = "</plist>\n";

/// Whether `a` comes before `b` in the order of their UTF-16 units. That is the order of the UTF-8 bytes, except for
/// characters above U+FFFF, whose units are surrogates.
bool comesBefore(std::string_view a, std::string_view b) {
  const auto [inA, inB] = std::ranges::mismatch(a, b);
  if (inA == a.end() || inB == b.end()) return inA == a.end() && inB != b.end();
  constexpr std::uint8_t kFirstLeadOfSurrogates = 0xED;
  if (std::min(static_cast<std::uint8_t>(*inA), static_cast<std::uint8_t>(*inB)) < kFirstLeadOfSurrogates) {
    return static_cast<std::uint8_t>(*inA) < static_cast<std::uint8_t>(*inB);
  }
  // The difference lies within two UTF-16 units, which eight bytes are certain to contain.
  constexpr std::size_t kEnough = 8;
  std::string unitsA;
  std::string unitsB;
  appendUtf16FromUtf8(a.substr(static_cast<std::size_t>(inA - a.begin()), kEnough), unitsA);
  appendUtf16FromUtf8(b.substr(static_cast<std::size_t>(inB - b.begin()), kEnough), unitsB);
  return unitsA < unitsB;
}

/// The text up to the first lone surrogate, which XML cannot represent.
std::string_view wellFormedStart(std::string_view text) {
  for (std::size_t at = text.find('\xED'); at != std::string_view::npos; at = text.find('\xED', at + 1)) {
    constexpr std::uint8_t kFirstOfSurrogates = 0xA0;
    if (at + 1 < text.size() && static_cast<std::uint8_t>(text[at + 1]) >= kFirstOfSurrogates)
      return text.substr(0, at);
  }
  return text;
}

/// A 128-bit number in two's complement, as decimal text.
std::string decimal128(std::uint64_t high, std::uint64_t low) {
  const bool isNegative = high >> 63 != 0;
  if (isNegative) {
    low = ~low + 1;
    high = ~high + (low == 0 ? 1 : 0);
  }
  std::string digits;
  do {
    // Division by ten, 32 bits at a time.
    std::uint64_t remainder = 0;
    for (std::uint64_t* part : {&high, &low}) {
      const std::uint64_t upper = remainder << 32 | *part >> 32;
      const std::uint64_t lower = (upper % 10) << 32 | (*part & 0xFFFF'FFFFU);
      *part = (upper / 10) << 32 | lower / 10;
      remainder = lower % 10;
    }
    digits.push_back(static_cast<char>('0' + remainder));
  } while (high != 0 || low != 0);
  if (isNegative) digits.push_back('-');
  std::ranges::reverse(digits);
  return digits;
}

std::string integerText(const PropertyListValue& value) {
  const Slot slot = PropertyListAccess::slot(value);
  // Of a 16-byte integer from a file, the low half is the value, as for readers; one made in memory uses all 16 bytes.
  if (value.numberWidth() == 16 && slotTag(slot) == kMadeTag) {
    const std::uint8_t* payload = PropertyListAccess::storage(value).leaf(slot) + 1;
    return decimal128(loadBigEndian<std::uint64_t>(payload), loadBigEndian<std::uint64_t>(payload + 8));
  }
  const std::int64_t integer = *value.integer();
  return value.isUnsigned() ? std::to_string(static_cast<std::uint64_t>(integer)) : std::to_string(integer);
}

std::string realText(double value) {
  if (std::isnan(value)) return "nan";
  if (std::isinf(value)) return value > 0 ? "+infinity" : "-infinity";
  if (value == 0) return "0.0";
  constexpr int kDigits = 17;
  char text[32];
  const auto result = std::to_chars(std::begin(text), std::end(text), value, std::chars_format::general, kDigits);
  return {text, result.ptr};
}

std::string dateText(double seconds) {
  const auto whole = static_cast<std::int64_t>(std::floor(seconds));
  const std::int64_t days = (whole >= 0 ? whole : whole - (kSecondsPerDay - 1)) / kSecondsPerDay;
  const auto ofDay = static_cast<int>(whole - days * kSecondsPerDay);
  const CalendarDate date = calendarFromDays(days);
  char text[64];
  std::snprintf(text, sizeof text, "%04lld-%02d-%02dT%02d:%02d:%02dZ", static_cast<long long>(date.year), date.month,
                date.day, ofDay / 3600, ofDay / 60 % 60, ofDay % 60);
  return text;
}

class XmlWriter {
 public:
  explicit XmlWriter(const ByteSink& sink) : sink_(sink) {}

  void write(const PropertyListValue& root) {
    out_ += kHead;
    writeValue(root);
    while (!stack_.empty()) {
      step();
      if (out_.size() >= kPieceSize && !flush()) return;
    }
    out_ += kTail;
    (void)flush();
  }

 private:
  /// A container whose opening tag has been written.
  struct Frame {
    PropertyListValue container;
    std::vector<std::size_t> order;  ///< Of a dictionary's entries; empty for an array.
    std::size_t size;
    std::size_t next;
  };

  bool flush() {
    const bool isTaken = sink_(out_);
    out_.clear();
    return isTaken;
  }
  void step();
  void writeValue(const PropertyListValue& value);
  void open(const PropertyListValue& container);
  void writeData(std::span<const std::uint8_t> bytes);
  void writeUid(std::uint32_t uid);

  void indent(std::size_t depth) { out_.append(depth, '\t'); }
  void indent() { indent(stack_.size()); }
  void line(std::string_view text) {
    indent();
    out_ += text;
    out_ += '\n';
  }
  /// An element on one line.
  void element(std::string_view name, std::string_view contents) {
    ((out_ += '<') += name) += '>';
    escape(contents);
    ((out_ += "</") += name) += ">\n";
  }
  void escape(std::string_view text);

  static constexpr std::size_t kPieceSize = std::size_t{1} << 16;

  const ByteSink& sink_;
  std::string out_;
  std::vector<Frame> stack_;
};

void XmlWriter::escape(std::string_view text) {
  constexpr std::string_view kSpecial = "&<>";
  constexpr std::string_view kEntities[] = {"&amp;", "&lt;", "&gt;"};
  text = wellFormedStart(text);
  std::size_t start = 0;
  for (std::size_t at = 0; at < text.size(); ++at) {
    const std::size_t special = kSpecial.find(text[at]);
    if (special == std::string_view::npos) continue;
    out_.append(text, start, at - start);
    out_ += kEntities[special];
    start = at + 1;
  }
  out_.append(text, start);
}

/// Writes the next entry of the innermost container, or closes it.
void XmlWriter::step() {
  Frame& frame = stack_.back();
  const PropertyListDictionary dictionary = frame.container.dictionary();
  if (frame.next == frame.size) {
    stack_.pop_back();
    line(dictionary ? "</dict>" : "</array>");
    return;
  }
  const std::size_t index = frame.next++;
  if (!dictionary) {
    writeValue(frame.container.array().at(index));
    return;
  }
  const std::size_t entry = frame.order[index];
  indent();
  element("key", *dictionary.keyAt(entry).string());
  writeValue(dictionary.valueAt(entry));
}

void XmlWriter::writeValue(const PropertyListValue& value) {
  indent();
  switch (value.type()) {
    case PropertyListType::kBoolean:
      out_ += *value.boolean() ? "<true/>\n" : "<false/>\n";
      return;
    case PropertyListType::kInteger:
      element("integer", integerText(value));
      return;
    case PropertyListType::kReal:
      element("real", realText(*value.real()));
      return;
    case PropertyListType::kDate:
      element("date", dateText(*value.date()));
      return;
    case PropertyListType::kData:
      writeData(*value.data());
      return;
    case PropertyListType::kString:
      element("string", *value.string());
      return;
    case PropertyListType::kUid:
      writeUid(*value.uid());
      return;
    case PropertyListType::kArray:
    case PropertyListType::kDictionary:
      open(value);
      return;
    case PropertyListType::kAbsent:
    case PropertyListType::kNull:
    case PropertyListType::kSet:
      return;  // Refused before the first byte is written.
  }
}

void XmlWriter::open(const PropertyListValue& container) {
  const PropertyListDictionary dictionary = container.dictionary();
  Frame frame{container, {}, dictionary ? dictionary.size() : container.array().size(), 0};
  if (frame.size == 0) {
    out_ += dictionary ? "<dict/>\n" : "<array/>\n";
    return;
  }
  out_ += dictionary ? "<dict>\n" : "<array>\n";
  if (dictionary) {
    std::vector<std::pair<std::string_view, std::size_t>> keys;
    for (std::size_t i = 0; i < frame.size; ++i) keys.emplace_back(*dictionary.keyAt(i).string(), i);
    std::ranges::sort(keys, comesBefore, &std::pair<std::string_view, std::size_t>::first);
    for (const auto& [key, entry] : keys) frame.order.push_back(entry);
  }
  stack_.push_back(std::move(frame));
}

/// Lines end at column 76. A tab counts as eight columns, and at most eight tabs are written.
void XmlWriter::writeData(std::span<const std::uint8_t> bytes) {
  constexpr std::size_t kColumns = 76;
  constexpr std::size_t kTab = 8;
  constexpr std::size_t kDeepest = 8;
  const std::size_t depth = std::min(stack_.size(), kDeepest);
  const std::size_t perLine = (kColumns - kTab * depth) / 4 * 3;
  out_ += "<data>\n";
  for (; !bytes.empty(); bytes = bytes.subspan(std::min(perLine, bytes.size()))) {
    indent(depth);
    appendBase64(bytes.first(std::min(perLine, bytes.size())), out_);
    out_ += '\n';
  }
  line("</data>");
}

/// XML has no element for a UID; keyed archives use this dictionary.
void XmlWriter::writeUid(std::uint32_t uid) {
  out_ += "<dict>\n";
  indent(stack_.size() + 1);
  element("key", "CF$UID");
  indent(stack_.size() + 1);
  element("integer", std::to_string(uid));
  line("</dict>");
}

}  // namespace

std::optional<PropertyListError> writeXmlTo(const PropertyList& list, const ByteSink& sink) {
  auto error = findUnwritable(list.root, static_cast<std::uint32_t>(PropertyListFormat::kXml));
  if (error) return error;
  if (unfoldsTooFar(list.root)) {
    return PropertyListError{"Property list invalid for format: 100 (" + std::string(kUnfoldsTooFar) + ")", 0, {}};
  }
  XmlWriter(sink).write(list.root);
  return std::nullopt;
}

PropertyListWriting writeXml(const PropertyList& list) {
  PropertyListWriting writing;
  auto text = std::make_shared<std::string>();
  writing.error = writeXmlTo(list, [&](std::string_view piece) {
    text->append(piece);
    return true;
  });
  if (writing.error) return writing;
  writing.data.pieces.emplace_back(reinterpret_cast<const std::uint8_t*>(text->data()), text->size());  // NOLINT
  writing.data.owners.push_back(std::move(text));
  return writing;
}

}  // namespace tarvel
