#include "platform/linux/base/linux_uuid_source.h"

#include <uuid.h>

namespace tarvel {

std::array<std::uint8_t, 16> LinuxUuidSource::createUuid() {
  std::array<std::uint8_t, 16> uuid{};
  ::uuid_generate_random(uuid.data());
  return uuid;
}

}  // namespace tarvel
