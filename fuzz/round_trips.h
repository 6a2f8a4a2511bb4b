#pragma once

#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <string_view>

#include "platform/plist/binary_reader.h"
#include "platform/plist/serialization.h"

// Checks that hold for every list that can be read.
namespace tarvel::fuzz {

inline void require(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "broken: %s\n", what);
  std::abort();
}

inline bool sameNumber(std::optional<double> a, std::optional<double> b) {
  if (!a || !b) return a.has_value() == b.has_value();
  return (std::isnan(*a) && std::isnan(*b)) || *a == *b;
}

/// Whether types, widths, values and order are equal.
inline bool same(const PropertyListValue& a, const PropertyListValue& b) {
  if (a.type() != b.type() || a.numberWidth() != b.numberWidth()) return false;
  const bool sameLeaf = a.boolean() == b.boolean() && a.integer() == b.integer() && a.string() == b.string() &&
                        a.uid() == b.uid() && sameNumber(a.real(), b.real()) && sameNumber(a.date(), b.date());
  if (!sameLeaf) return false;
  if (const auto bytes = a.data()) {
    const auto others = *b.data();
    return std::string_view(reinterpret_cast<const char*>(bytes->data()), bytes->size()) ==
           std::string_view(reinterpret_cast<const char*>(others.data()), others.size());
  }
  if (a.array().size() != b.array().size() || a.dictionary().size() != b.dictionary().size()) return false;
  for (std::size_t i = 0; i < a.array().size(); ++i) {
    if (!same(a.array().at(i), b.array().at(i))) return false;
  }
  for (std::size_t i = 0; i < a.dictionary().size(); ++i) {
    const bool sameEntry = same(a.dictionary().keyAt(i), b.dictionary().keyAt(i)) &&
                           same(a.dictionary().valueAt(i), b.dictionary().valueAt(i));
    if (!sameEntry) return false;
  }
  return true;
}

/// Whether containers nest deeper than the binary and XML readers allow; the OpenStep reader allows one more level.
inline bool isTooDeep(const PropertyListValue& value, std::size_t depth = 0) {
  const PropertyListArray array = value.array();
  const PropertyListDictionary dictionary = value.dictionary();
  if (!array && !dictionary) return false;
  if (depth == kMaxDepth) return true;
  for (std::size_t i = 0; i < array.size(); ++i) {
    if (isTooDeep(array.at(i), depth + 1)) return true;
  }
  for (std::size_t i = 0; i < dictionary.size(); ++i) {
    if (isTooDeep(dictionary.valueAt(i), depth + 1)) return true;
  }
  return false;
}

/// The list as a file of this format; empty when the format cannot represent it.
inline std::optional<std::string> written(const PropertyList& list, PropertyListFormat format) {
  PlistSerialization serialization;
  const PropertyListWriting writing = serialization.dataWithPropertyList(list, static_cast<std::uint32_t>(format));
  if (!writing.error) return writing.data.joined();
  require(writing.error->description.starts_with("Property list invalid for format: "), "an unexpected write error");
  return std::nullopt;
}

inline PropertyList readAgain(const std::string& bytes, PropertyListFormat format) {
  PlistSerialization serialization;
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(bytes));
  require(!reading.error, "a written file cannot be read");
  require(reading.format == format, "a written file is read as another format");
  return reading.list;
}

inline void checkRoundTrips(const PropertyList& list) {
  if (isTooDeep(list.root)) return;
  if (const auto binary = written(list, PropertyListFormat::kBinary)) {
    const PropertyList again = readAgain(*binary, PropertyListFormat::kBinary);
    require(same(list.root, again.root), "binary changes a value");
    require(written(again, PropertyListFormat::kBinary)->size() <= binary->size(), "a rewrite grows");
  }
  if (const auto first = written(list, PropertyListFormat::kXml)) {
    // The first conversion to XML may lose details; the second must not.
    const auto second = written(readAgain(*first, PropertyListFormat::kXml), PropertyListFormat::kXml);
    require(second.has_value(), "a list from XML cannot be written as XML");
    const auto third = written(readAgain(*second, PropertyListFormat::kXml), PropertyListFormat::kXml);
    require(second == third, "XML changes a value");
  }
}

}  // namespace tarvel::fuzz
