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
  /// Never set with a root. May be missing without one: for some truncated files the XML reader has no message, and
  /// that of the OpenStep reader is used.
  std::optional<PropertyListError> error;
};

/// The number of the line at `place`, from 1. Lines end in CR, LF or CRLF.
[[nodiscard]] std::uint64_t lineNumberAt(std::string_view text, std::size_t place);

/// Text for a message: at most its first 128 bytes, followed by an ellipsis if truncated.
[[nodiscard]] std::string shortened(std::string_view text);

/// The value of a hexadecimal digit, -1 for any other character.
[[nodiscard]] constexpr int hexDigitValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

}  // namespace tarvel
