#pragma once

#include "platform/property_list_serialization.h"

namespace tarvel {

/// Reads and writes all formats of property lists. Portable. Threads may use it concurrently on different trees.
class PlistSerialization final : public PropertyListSerialization {
 public:
  [[nodiscard]] PropertyListReading propertyListFromData(const Data& data) override;
  [[nodiscard]] PropertyListWriting dataWithPropertyList(const PropertyList& list, std::uint32_t format) override;
};

}  // namespace tarvel
