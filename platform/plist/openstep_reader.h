#pragma once

#include <cstdint>
#include <span>

#include "platform/plist/text_reading.h"
#include "platform/property_list.h"

namespace tarvel {

/// Reads the OpenStep form, the oldest one, into `tree`, copying what it keeps of `bytes`: dictionaries in braces,
/// arrays in parentheses, data in angle brackets, strings, and the strings file, which is a dictionary without its
/// braces. Text of nothing but white space and comments is an empty dictionary. Every leaf is a string or data.
[[nodiscard]] TextReading readOpenStep(std::span<const std::uint8_t> bytes, PropertyListTree& tree);

}  // namespace tarvel
