#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "platform/data.h"
#include "platform/property_list.h"

namespace tarvel {

/// Why reading or writing failed.
struct PropertyListError {
  /// English text for users and the log. "(null)" where the original platform gives no error object.
  std::string description;
  /// Line of a text format at which the reader stopped, from 1; 0 if not applicable.
  std::uint64_t line = 0;
  /// The error of the binary reader, for a file that begins like a binary property list; `description` is then that of
  /// the XML attempt. Else empty.
  std::string binaryDescription;
};

/// The result of reading.
struct PropertyListReading {
  /// Without a root if and only if `error` is set.
  PropertyList list;
  PropertyListFormat format = PropertyListFormat::kBinary;  ///< Valid on success.
  std::optional<PropertyListError> error;                   ///< The failure, if any.
};

/// Maximum nesting of containers that readers accept. Deeper lists can be written, but not read back.
inline constexpr std::size_t kDeepestReadable = 512;

/// The result of writing.
struct PropertyListWriting {
  DataPieces data;  ///< The bytes of the file.
  /// Set on failure; `data` is empty then.
  std::optional<PropertyListError> error;
  /// Maximum nesting of containers. Computed for the binary format only.
  std::size_t depth = 0;
};

/// Converts between bytes and trees. Stateless; accesses no file, clock or log.
class PropertyListSerialization {
 public:
  virtual ~PropertyListSerialization() = default;

  /// Tries the binary, XML and OpenStep formats, in this order. The tree may keep references into `data`. Rejects lists
  /// that nest more than 512 containers or unfold out of proportion to their size.
  [[nodiscard]] virtual PropertyListReading propertyListFromData(const Data& data) = 0;

  /// `format` is the number of a PropertyListFormat; other numbers and the OpenStep format fail.
  [[nodiscard]] virtual PropertyListWriting dataWithPropertyList(const PropertyList& list, std::uint32_t format) = 0;
};

}  // namespace tarvel
