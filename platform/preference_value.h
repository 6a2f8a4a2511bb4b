#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>
#include <optional>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel {

// How stored settings convert, by the original platform's rules. A real never converts.

namespace preference_value {

[[nodiscard]] inline bool equalsWithoutCase(std::string_view text, std::string_view lowerCase) {
  return std::ranges::equal(text, lowerCase, [](char c, char expected) {
    return (c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) == expected;
  });
}

[[nodiscard]] inline bool isSpace(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

[[nodiscard]] inline std::string_view withoutLeadingSpace(std::string_view text) {
  while (!text.empty() && isSpace(text.front())) text.remove_prefix(1);
  return text;
}

/// A string that consists of one number: white space, a sign, white space, digits. Saturates at 32 bits.
[[nodiscard]] inline std::optional<std::int64_t> integerOfText(std::string_view text) {
  constexpr std::int64_t kMost = std::numeric_limits<std::int32_t>::max();
  constexpr std::int64_t kLeast = std::numeric_limits<std::int32_t>::min();
  text = withoutLeadingSpace(text);
  const bool isNegative = text.starts_with('-');
  if (isNegative || text.starts_with('+')) text = withoutLeadingSpace(text.substr(1));
  if (text.empty()) return std::nullopt;
  std::int64_t number = 0;
  for (const char c : text) {
    if (c < '0' || c > '9') return std::nullopt;
    number = std::min(number * 10 + (c - '0'), kMost + 1);
  }
  return std::clamp(isNegative ? -number : number, kLeast, kMost);
}

}  // namespace preference_value

/// A boolean; an integer, true unless its low 32 bits are zero; "yes", "no", "true" or "false" in any case.
[[nodiscard]] inline std::optional<bool> booleanFromPreference(PropertyListValue value) {
  using preference_value::equalsWithoutCase;
  if (const auto boolean = value.boolean()) return boolean;
  if (const auto integer = value.integer()) return static_cast<std::uint32_t>(*integer) != 0;
  const auto text = value.string();
  if (!text) return std::nullopt;
  if (equalsWithoutCase(*text, "yes") || equalsWithoutCase(*text, "true")) return true;
  if (equalsWithoutCase(*text, "no") || equalsWithoutCase(*text, "false")) return false;
  return std::nullopt;
}

/// The low 64 bits of an integer, or a string that consists of one. A boolean does not convert.
[[nodiscard]] inline std::optional<std::int64_t> integerFromPreference(PropertyListValue value) {
  if (const auto integer = value.integer()) return integer;
  const auto text = value.string();
  return text ? preference_value::integerOfText(*text) : std::nullopt;
}

}  // namespace tarvel
