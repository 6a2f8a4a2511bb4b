#pragma once

#include <cmath>
#include <cstddef>
#include <string_view>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

// Which identifiers and values every preferences store accepts.

/// Whether `applicationId` is valid: a single folder name that cannot lead out of its parent.
[[nodiscard]] inline bool namesApplication(std::string_view applicationId) {
  constexpr std::size_t kLongestName = 255;
  return !applicationId.empty() && applicationId.size() <= kLongestName && applicationId != "." &&
         applicationId != ".." && applicationId.find('/') == std::string_view::npos &&
         applicationId.find('\0') == std::string_view::npos;
}

/// Checks one value against the limits. Visits a bounded number of values, so that self-containing and heavily shared
/// lists are rejected quickly.
class PreferenceMeasure {
 public:
  /// Whether `value`, nested in `containers` containers, and all values checked before it fit the limits.
  [[nodiscard]] bool takes(PropertyListValue value, std::size_t containers) {
    constexpr std::size_t kMostValues = 100'000;
    constexpr std::size_t kMostBytes = std::size_t{4} * 1024 * 1024;
    if (++values_ > kMostValues || containers > kDeepestReadable) return false;
    if (const auto text = value.string()) bytes_ += text->size();
    if (const auto data = value.data()) bytes_ += data->size();
    if (bytes_ > kMostBytes) return false;
    switch (value.type()) {
      case PropertyListType::kAbsent:
      case PropertyListType::kNull:
      case PropertyListType::kSet:
        return false;
      case PropertyListType::kArray:
        return takesElements(value.array(), containers + 1);
      case PropertyListType::kDictionary:
        return takesEntries(value.dictionary(), containers + 1);
      default:
        return true;
    }
  }

 private:
  [[nodiscard]] bool takesElements(PropertyListArray array, std::size_t containers) {
    if (containers > kDeepestReadable) return false;
    for (std::size_t i = 0; i < array.size(); ++i) {
      if (!takes(array.at(i), containers)) return false;
    }
    return true;
  }
  [[nodiscard]] bool takesEntries(PropertyListDictionary dictionary, std::size_t containers) {
    if (containers > kDeepestReadable) return false;
    for (std::size_t i = 0; i < dictionary.size(); ++i) {
      if (!dictionary.keyAt(i).string() || !takes(dictionary.keyAt(i), containers)) return false;
      if (!takes(dictionary.valueAt(i), containers)) return false;
    }
    return true;
  }

  std::size_t values_ = 0;
  std::size_t bytes_ = 0;
};

/// Whether `value` can be stored and read back: no null, set or non-string key, at most 511 nested containers, 100,000
/// values and 4 MB of strings and data.
[[nodiscard]] inline bool isStorablePreference(PropertyListValue value) {
  // The settings dictionary is one container around it.
  return PreferenceMeasure().takes(value, 1);
}

/// A copy of a storable value in another tree, as it will be read back: dates in whole seconds, as in XML.
[[nodiscard]] inline PropertyListValue storedPreference(PropertyListTree& tree, PropertyListValue value) {
  switch (value.type()) {
    case PropertyListType::kBoolean:
      return tree.makeBoolean(*value.boolean());
    case PropertyListType::kInteger:
      return value.isUnsigned() ? tree.makeUnsigned(static_cast<std::uint64_t>(*value.integer()))
                                : tree.makeInteger(*value.integer());
    case PropertyListType::kReal:
      return tree.makeReal(*value.real());
    case PropertyListType::kDate:
      return tree.makeDate(std::floor(*value.date()));
    case PropertyListType::kData:
      return tree.makeData(*value.data());
    case PropertyListType::kString:
      return tree.makeString(*value.string());
    case PropertyListType::kUid:
      return tree.makeUid(*value.uid());
    case PropertyListType::kArray: {
      const PropertyListArray copy = tree.makeArray(value.array().size());
      for (std::size_t i = 0; i < value.array().size(); ++i) copy.append(storedPreference(tree, value.array().at(i)));
      return copy.value();
    }
    case PropertyListType::kDictionary: {
      const PropertyListDictionary copy = tree.makeDictionary();
      const PropertyListDictionary original = value.dictionary();
      for (std::size_t i = 0; i < original.size(); ++i) {
        if (const auto key = original.keyAt(i).string()) copy.set(*key, storedPreference(tree, original.valueAt(i)));
      }
      return copy.value();
    }
    default:
      return tree.makeNull();
  }
}

}  // namespace tarvel
