#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/plist/serialization.h"
#include "tests/support/sanitized.h"

// Shared by tests of several formats.
namespace tarvel::plist_test {

inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

/// Hostile texts are this many times shorter under the sanitizers, which slow the readers down. Quadratic work would
/// still take hours.
inline constexpr std::size_t kShortening = kIsSanitized ? 8 : 1;

inline std::string repeated(std::string_view text, std::size_t count) {
  const std::size_t size = text.size() * count;
  std::string all(text);
  while (all.size() < size) all += all;
  all.resize(size);
  return all;
}

/// Containers within each other, by the first element of each. Does not recurse: the sanitizers' frames are large.
inline std::size_t depthOf(PropertyListValue value) {
  for (std::size_t depth = 0;; ++depth) {
    if (const PropertyListArray array = value.array(); !array.empty()) {
      value = array.at(0);
    } else if (const PropertyListDictionary dictionary = value.dictionary(); dictionary.size() > 0) {
      value = dictionary.valueAt(0);
    } else {
      return depth;
    }
  }
}

inline PropertyListReading readAnyFormat(const std::string& bytes) {
  PlistSerialization serialization;
  return serialization.propertyListFromData(Data::copyOf(bytes));
}

}  // namespace tarvel::plist_test
