#include "engine/value_coercion.h"

#include <algorithm>
#include <array>
#include <limits>

namespace tarvel {

namespace {

using Limits = std::numeric_limits<std::int32_t>;

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// Removes one character of `set` from the front of the text. False if the text begins with none of them.
template <std::size_t count>
bool skipOneOf(const std::array<std::string_view, count>& set, std::string_view& text) {
  for (const std::string_view character : set) {
    if (text.starts_with(character)) {
      text.remove_prefix(character.size());
      return true;
    }
  }
  return false;
}

/// Skips white space before a number: U+0009 to U+000D, space, no-break space, U+2000 to U+200B, U+3000.
void skipSpaceBeforeNumber(std::string_view& text) {
  constexpr std::array<std::string_view, 20> kSpaces = {
      "\t",           "\n",           "\v",           "\f",           "\r",           " ",
      "\xC2\xA0",     "\xE2\x80\x80", "\xE2\x80\x81", "\xE2\x80\x82", "\xE2\x80\x83", "\xE2\x80\x84",
      "\xE2\x80\x85", "\xE2\x80\x86", "\xE2\x80\x87", "\xE2\x80\x88", "\xE2\x80\x89", "\xE2\x80\x8A",
      "\xE2\x80\x8B", "\xE3\x80\x80"};
  while (skipOneOf(kSpaces, text)) {
  }
}

bool skipSign(std::string_view& text) {
  if (!text.starts_with('-') && !text.starts_with('+')) return false;
  const bool isNegative = text.front() == '-';
  text.remove_prefix(1);
  return isNegative;
}

}  // namespace

bool boolValueOfText(std::string_view text) {
  skipSpaceBeforeNumber(text);
  if (text.empty()) return false;
  if (std::string_view("YyTt").find(text.front()) != std::string_view::npos) return true;
  (void)skipSign(text);
  text.remove_prefix(std::min(text.find_first_not_of('0'), text.size()));
  return !text.empty() && isDigit(text.front());
}

std::int32_t intValueOfText(std::string_view text) {
  skipSpaceBeforeNumber(text);
  const bool isNegative = skipSign(text);
  skipSpaceBeforeNumber(text);
  std::int64_t number = 0;
  for (; !text.empty() && isDigit(text.front()); text.remove_prefix(1)) {
    number = number * 10 + (text.front() - '0');
    if (number > Limits::max()) return isNegative ? Limits::min() : Limits::max();
  }
  return static_cast<std::int32_t>(isNegative ? -number : number);
}

bool boolValue(PropertyListValue value) {
  if (const auto truth = value.boolean()) return *truth;
  if (const auto number = value.integer()) return *number != 0;
  if (const auto number = value.real()) return *number != 0;
  return value.textHas(boolValueOfText);
}

std::int32_t intValue(PropertyListValue value) {
  if (const auto truth = value.boolean()) return *truth ? 1 : 0;
  if (const auto number = value.integer()) return static_cast<std::int32_t>(*number);
  if (const auto number = value.real()) {
    const bool fits = *number > -2147483649.0 && *number < 2147483648.0;
    return fits ? static_cast<std::int32_t>(*number) : Limits::min();
  }
  if (const auto text = value.string()) return intValueOfText(*text);
  return 0;
}

bool isBlank(std::string_view text) {
  // Decides for nearly every address by its first letter.
  if (!text.empty() && text.front() > ' ' && text.front() <= '~') return false;
  // The tab and Unicode's space separators (general category Zs).
  constexpr std::array<std::string_view, 18> kWhiteSpace = {"\t",           " ",
                                                            "\xC2\xA0",     "\xE1\x9A\x80",
                                                            "\xE2\x80\x80", "\xE2\x80\x81",
                                                            "\xE2\x80\x82", "\xE2\x80\x83",
                                                            "\xE2\x80\x84", "\xE2\x80\x85",
                                                            "\xE2\x80\x86", "\xE2\x80\x87",
                                                            "\xE2\x80\x88", "\xE2\x80\x89",
                                                            "\xE2\x80\x8A", "\xE2\x80\xAF",
                                                            "\xE2\x81\x9F", "\xE3\x80\x80"};
  while (skipOneOf(kWhiteSpace, text)) {
  }
  return text.empty();
}

}  // namespace tarvel
