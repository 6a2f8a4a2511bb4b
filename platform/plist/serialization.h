#pragma once

#include "platform/property_list_serialization.h"

namespace tarvel {

/// Property lists in all their forms, by this library's own readers and writers. Portable; any number of threads, each
/// with trees of its own.
class PlistSerialization final : public PropertyListSerialization {
 public:
  [[nodiscard]] PropertyListReading propertyListFromData(const Data& data) override;
  [[nodiscard]] PropertyListWriting dataWithPropertyList(const PropertyList& list, std::uint32_t format) override;
};

}  // namespace tarvel
