#include "platform/plist/xml_values.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>

#include "platform/plist/base64.h"
#include "platform/plist/calendar.h"

namespace tarvel {

namespace {

bool isDigit(char c) { return c >= '0' && c <= '9'; }

char lowered(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool failForCharacter(XmlCursor& cursor) {
  // As on the original platform, the byte is printed as a signed number: 0x80 as 0xffffff80.
  const std::uint32_t byte = static_cast<std::uint8_t>(cursor.peek());
  char number[16];
  std::snprintf(number, sizeof number, "0x%x", byte < 0x80 ? byte : byte | 0xFFFF'FF00U);
  return cursor.failOnLine("Unknown character '" + cursor.shownCharacter() + "' (" + number +
                           ") in <integer> on line ");
}

/// The value of the digit at the cursor, which does not move.
std::optional<unsigned> readDigit(XmlCursor& cursor, bool isHex) {
  const char c = lowered(cursor.peek());
  if (isDigit(c)) return static_cast<unsigned>(c - '0');
  if (c < 'a' || c > 'f') {
    failForCharacter(cursor);
    return std::nullopt;
  }
  if (!isHex) {
    cursor.failOnLine("Hex digit in non-hex <integer> on line ");
    return std::nullopt;
  }
  return static_cast<unsigned>(c - 'a' + 10);
}

/// Digits up to the closing tag.
bool readMagnitude(XmlCursor& cursor, XmlInteger& integer) {
  const bool isHex = cursor.startsWith("0x") || cursor.startsWith("0X");
  if (isHex) cursor.advance(2);
  if (cursor.startsWith("<")) return cursor.failOnLine("Encountered empty <integer> on line ");
  const std::uint64_t base = isHex ? 16 : 10;
  const std::uint64_t most = integer.isNegative ? std::uint64_t{1} << 63 : std::numeric_limits<std::uint64_t>::max();
  for (; !cursor.atEnd() && cursor.peek() != '<'; cursor.advance()) {
    const auto digit = readDigit(cursor, isHex);
    if (!digit) return false;
    if (integer.magnitude > (most - *digit) / base) {
      return cursor.failOnLine(integer.isNegative ? "Integer underflow in <integer> on line "
                                                  : "Integer overflow in <integer> on line ");
    }
    integer.magnitude = integer.magnitude * base + *digit;
  }
  return !cursor.atEnd() || cursor.failAtEnd();
}

std::optional<double> namedReal(std::string_view text) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  constexpr std::size_t kLongest = std::string_view("+infinity").size();
  if (text.size() > kLongest) return std::nullopt;
  std::string name(text);
  std::ranges::transform(name, name.begin(), lowered);
  if (name == "nan") return std::numeric_limits<double>::quiet_NaN();
  if (name == "inf" || name == "+inf" || name == "infinity" || name == "+infinity") return kInfinity;
  if (name == "-inf" || name == "-infinity") return -kInfinity;
  return std::nullopt;
}

/// Whether a number outside the range of double is too large rather than too small, judged by the position of its first
/// digit other than zero.
bool isTooLarge(std::string_view digits) {
  const std::size_t mark = digits.find_first_of("eE");
  const std::string_view mantissa = digits.substr(0, mark);
  const std::size_t first = mantissa.find_first_of("123456789");
  const std::size_t point = std::min(mantissa.find('.'), mantissa.size());
  const auto place = static_cast<std::int64_t>(point) - static_cast<std::int64_t>(first);
  if (mark == std::string_view::npos) return place > 0;
  const std::string_view exponent = digits.substr(mark + 1);
  const bool isNegative = exponent.starts_with('-');
  const std::string_view power = exponent.substr(isNegative || exponent.starts_with('+') ? 1 : 0);
  std::int64_t value = 0;
  const auto [end, error] = std::from_chars(power.data(), power.data() + power.size(), value);
  if (error != std::errc()) return !isNegative;
  return (isNegative ? -value : value) + place > 0;
}

/// The decimal number that `text` consists of.
std::optional<double> decimalReal(std::string_view text) {
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text.remove_prefix(1);
  if (text.empty() || (!isDigit(text[0]) && text[0] != '.')) return std::nullopt;
  double value = 0;
  const char* end = text.data() + text.size();
  const auto result = std::from_chars(text.data(), end, value);
  if (result.ptr != end || result.ec == std::errc::invalid_argument) return std::nullopt;
  if (result.ec == std::errc::result_out_of_range) {
    value = isTooLarge(text) ? std::numeric_limits<double>::infinity() : 0.0;
  }
  return isNegative ? -value : value;
}

/// Exactly two digits.
bool readTwoDigits(XmlCursor& cursor, int& number) {
  if (cursor.left() < 2 || !isDigit(cursor.rest()[0]) || !isDigit(cursor.rest()[1])) return false;
  number = (cursor.rest()[0] - '0') * 10 + (cursor.rest()[1] - '0');
  cursor.advance(2);
  return true;
}

bool readMark(XmlCursor& cursor, char mark) {
  if (!cursor.startsWith({&mark, 1})) return false;
  cursor.advance();
  return true;
}

/// Any number of digits, even none. False for years beyond those that seconds in 64 bits can express.
bool readYear(XmlCursor& cursor, std::int64_t& year) {
  constexpr std::int64_t kMost = 1'000'000'000'000;
  const bool isNegative = readMark(cursor, '-');
  for (; !cursor.atEnd() && isDigit(cursor.peek()); cursor.advance()) {
    year = year * 10 + (cursor.peek() - '0');
    if (year > kMost) return false;
  }
  if (isNegative) year = -year;
  return true;
}

bool isBlank(std::uint8_t c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

}  // namespace

std::optional<XmlInteger> readXmlInteger(XmlCursor& cursor) {
  XmlInteger integer{false, 0};
  cursor.skipWideSpace();
  if (cursor.startsWith("-") || cursor.startsWith("+")) {
    integer.isNegative = cursor.peek() == '-';
    cursor.advance();
    cursor.skipWideSpace();
  }
  if (!readMagnitude(cursor, integer)) return std::nullopt;
  return integer;
}

std::optional<double> readXmlReal(XmlCursor& cursor) {
  std::string_view text;
  if (!cursor.readText(text)) return std::nullopt;
  if (const auto named = namedReal(text)) return named;
  XmlCursor content(text);
  content.skipWideSpace();
  const auto value = decimalReal(content.rest());
  if (!value) cursor.failOnLine("Encountered misformatted real on line ");
  return value;
}

std::optional<double> readXmlDate(XmlCursor& cursor) {
  CalendarDate date{0, 0, 0};
  int hour = 0;
  int minute = 0;
  int second = 0;
  const bool isDate = readYear(cursor, date.year) && readMark(cursor, '-') && readTwoDigits(cursor, date.month) &&
                      readMark(cursor, '-') && readTwoDigits(cursor, date.day) && readMark(cursor, 'T') &&
                      readTwoDigits(cursor, hour) && readMark(cursor, ':') && readTwoDigits(cursor, minute) &&
                      readMark(cursor, ':') && readTwoDigits(cursor, second) && readMark(cursor, 'Z');
  // The closing tag is checked here, so that text after the date gets this message instead of one about the tag.
  if (!isDate || !cursor.startsWith("</date")) {
    cursor.failOnLine("Could not interpret <date> at line ");
    return std::nullopt;
  }
  // As on the original platform, month 0 means January.
  date.month = std::max(date.month, 1);
  const double days = static_cast<double>(daysFromCalendar(date));
  return days * static_cast<double>(kSecondsPerDay) + static_cast<double>(hour * 3600 + minute * 60 + second);
}

std::optional<std::vector<std::uint8_t>> readXmlData(XmlCursor& cursor) {
  std::vector<std::uint8_t> bytes;
  std::uint32_t group = 0;
  unsigned inGroup = 0;
  unsigned padding = 0;
  for (; !cursor.atEnd() && cursor.peek() != '<'; cursor.advance()) {
    const auto c = static_cast<std::uint8_t>(cursor.peek());
    if (c >= kBase64Values.size()) {
      char shown[8];
      std::snprintf(shown, sizeof shown, "0x%02X", static_cast<unsigned>(c));
      cursor.failOnLine("Could not interpret <data> on line ", " (invalid character " + std::string(shown) + ")");
      return std::nullopt;
    }
    if (!isBlank(c)) padding = c == '=' ? padding + 1 : 0;
    if (kBase64Values[c] < 0) continue;
    group = group << 6 | static_cast<std::uint32_t>(kBase64Values[c]);
    if (++inGroup < 4) continue;
    inGroup = 0;
    bytes.push_back(static_cast<std::uint8_t>(group >> 16));
    if (padding < 2) bytes.push_back(static_cast<std::uint8_t>(group >> 8));
    if (padding < 1) bytes.push_back(static_cast<std::uint8_t>(group));
  }
  return bytes;
}

}  // namespace tarvel
