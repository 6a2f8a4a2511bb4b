#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// The result of a text reader.
struct TextReading {
  /// Absent when reading failed.
  PropertyListValue root;
  /// Never set with a root. Without one it may be missing too: the XML reader gives no text for some files that end
  /// too early, and leaves it to the OpenStep reader to say what is wrong.
  std::optional<PropertyListError> error;
};

/// The number of the line that `place` is in, from 1. A carriage return ends a line too, with or without a line feed.
[[nodiscard]] std::uint64_t lineNumberAt(std::string_view text, std::size_t place);

/// Text from a file for use in a message: whole if short, else its beginning and an ellipsis.
[[nodiscard]] std::string shortened(std::string_view text);

/// The value of a hexadecimal digit, -1 for any other character.
[[nodiscard]] constexpr int hexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace tarvel
