#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/data.h"
#include "platform/property_list.h"

namespace tarvel {

/// Why a property list could not be read or written.
struct PropertyListError {
  /// The text for people and for the log line, in English. "(null)" where the original platform gives no error object.
  std::string description;
  /// The line of a text form that the reader stopped at, counted from 1; 0 where lines mean nothing.
  std::uint64_t line = 0;
  /// What is wrong with a file that begins like a binary property list, where `description` speaks of the XML attempt
  /// that came after it. Empty for anything else.
  std::string binaryDescription;
};

/// What came of reading a property list.
struct PropertyListReading {
  /// Has no root when reading failed; `error` is set then, and only then.
  PropertyList list;
  PropertyListFormat format = PropertyListFormat::kBinary;  ///< The form it was in, where it could be read.
  std::optional<PropertyListError> error;                   ///< Why there is no list.
};

/// Containers that may lie around a value for a reader to take it: what nests deeper can be written, and is lost.
inline constexpr std::size_t kDeepestReadable = 512;

/// What came of writing one.
struct PropertyListWriting {
  DataPieces data;  ///< The bytes of the file.
  /// Set when nothing was written; `data` is empty then.
  std::optional<PropertyListError> error;
  /// Containers within each other, at the deepest place. Counted for the binary form only.
  std::size_t depth = 0;
};

/// Bytes to tree and back. Stateless; nothing touches a file, a clock or the log.
class PropertyListSerialization {
 public:
  virtual ~PropertyListSerialization() = default;

  /// Tries the binary, the XML and the OpenStep form, in this order. The tree keeps `data` where it refers into it.
  /// Refuses what nests more than 512 containers deep or unfolds out of proportion to its size.
  [[nodiscard]] virtual PropertyListReading propertyListFromData(const Data& data) = 0;

  /// `format` is a PropertyListFormat by number; another number, and the OpenStep form, fail.
  [[nodiscard]] virtual PropertyListWriting dataWithPropertyList(const PropertyList& list, std::uint32_t format) = 0;
};

}  // namespace tarvel
