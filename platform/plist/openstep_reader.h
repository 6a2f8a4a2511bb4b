#pragma once

#include <cstdint>
#include <span>

#include "platform/plist/text_reading.h"
#include "platform/property_list.h"

namespace tarvel {

/// Reads the OpenStep format into `tree`; keeps no reference to `bytes`. Dictionaries are in braces, arrays in
/// parentheses, data in angle brackets; every other leaf is a string. A strings file is a dictionary without braces.
/// Text that consists of white space and comments is an empty dictionary.
[[nodiscard]] TextReading readOpenStep(std::span<const std::uint8_t> bytes, PropertyListTree& tree);

}  // namespace tarvel
