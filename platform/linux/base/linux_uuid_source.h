#pragma once

#include "platform/uuid_source.h"

namespace tarvel {

/// Random UUIDs from libuuid, which draws from the kernel.
class LinuxUuidSource final : public UuidSource {
 public:
  [[nodiscard]] std::array<std::uint8_t, 16> createUuid() override;
};

}  // namespace tarvel
