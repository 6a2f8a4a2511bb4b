#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "platform/plist/serialization.h"

// Shared by tests of several formats.
namespace tarvel::plist_test {

inline std::span<const std::uint8_t> bytesOf(std::string_view text) {
  return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

inline std::string repeated(std::string_view text, std::size_t count) {
  const std::size_t size = text.size() * count;
  std::string all(text);
  while (all.size() < size) all += all;
  all.resize(size);
  return all;
}

inline PropertyListReading readAnyFormat(const std::string& bytes) {
  PlistSerialization serialization;
  return serialization.propertyListFromData(Data::copyOf(bytes));
}

}  // namespace tarvel::plist_test
