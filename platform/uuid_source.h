#pragma once

#include <array>
#include <cstdint>

namespace tarvel {

/// Makes identifiers that no other has.
class UuidSource {
 public:
  virtual ~UuidSource() = default;

  /// Sixteen bytes of a new random UUID (RFC 4122, version 4), most significant byte first.
  [[nodiscard]] virtual std::array<std::uint8_t, 16> createUuid() = 0;
};

}  // namespace tarvel
