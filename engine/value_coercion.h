#pragma once

#include <cstdint>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel {

// Conversions of values to other types, by the original platform's rules.

/// Whether a value is true: a number other than zero; a text that begins, after white space, with Y, y, T, t or, after
/// a sign and zeros, with a digit other than 0. Anything else, and an absent value, is false.
[[nodiscard]] bool boolValue(PropertyListValue value);

/// A value as a signed 32-bit integer: the low 32 bits of an integer; a real truncated towards zero, or the smallest
/// integer if it does not fit; the leading digits of a text (after white space, a sign and more white space), clamped
/// to the range. Anything else, and an absent value, is 0.
[[nodiscard]] std::int32_t intValue(PropertyListValue value);

// The rules for texts.
[[nodiscard]] bool boolValueOfText(std::string_view text);
[[nodiscard]] std::int32_t intValueOfText(std::string_view text);

/// Whether a text consists of space separators and tabs only. Line breaks are not blank.
[[nodiscard]] bool isBlank(std::string_view text);

}  // namespace tarvel
