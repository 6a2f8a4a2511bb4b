#pragma once

#include <cstdint>
#include <string_view>

#include "platform/property_list.h"

namespace tarvel {

// Values taken for what they are not, by the original platform's rules.

/// Whether a value is true: a number unless it is zero, a text that begins (after white space) with Y, y, T, t or,
/// after a sign and zeros, a digit other than 0. Anything else, and an absent value, is false.
[[nodiscard]] bool boolValue(PropertyListValue value);

/// A value as a signed 32-bit integer. Of an integer the low 32 bits; a real is cut towards zero, and the smallest
/// integer when it does not fit. A text gives the digits it begins with (after white space, a sign and more white
/// space), confined to the range. Anything else, and an absent value, is 0.
[[nodiscard]] std::int32_t intValue(PropertyListValue value);

// The rules for texts.
[[nodiscard]] bool boolValueOfText(std::string_view text);
[[nodiscard]] std::int32_t intValueOfText(std::string_view text);

/// Whether nothing is left of a text once space separators and tabs are taken from its ends. Line breaks stay.
[[nodiscard]] bool isBlank(std::string_view text);

}  // namespace tarvel
