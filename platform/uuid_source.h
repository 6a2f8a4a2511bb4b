#pragma once

#include <array>
#include <cstdint>

namespace tarvel {

/// Makes unique identifiers.
class UuidSource {
 public:
  virtual ~UuidSource() = default;

  /// The 16 bytes of a new random UUID (RFC 4122, version 4), in network byte order.
  [[nodiscard]] virtual std::array<std::uint8_t, 16> createUuid() = 0;
};

}  // namespace tarvel
