#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "platform/data.h"
#include "platform/property_list.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// Containers that may lie around an object, in every form.
inline constexpr std::size_t kMaxDepth = kDeepestReadable;

/// A container that the file refers to from several places becomes as many containers here, so a small file could
/// unfold without end. It may come to this many entries beyond twice the references the file has room for.
inline constexpr std::uint64_t kUnfoldingAllowance = std::uint64_t{1} << 20;

/// Objects may share bytes, so their sizes may add up to more than the file. They may add up to this many times it.
inline constexpr std::uint64_t kOverlapFactor = 16;

struct BinaryReading {
  PropertyListValue root;
  /// The error; empty on success.
  std::string error;
};

/// Whether the bytes begin as a binary property list does: "bplist0" and any one byte.
[[nodiscard]] bool looksBinary(std::span<const std::uint8_t> bytes);

/// Reads the binary format into `tree`, which has read nothing before and keeps `data`. Everything reachable is
/// checked; objects that nothing refers to are not looked at. Time and memory stay in proportion to the file.
[[nodiscard]] BinaryReading readBinary(const Data& data, PropertyListTree& tree);

}  // namespace tarvel
