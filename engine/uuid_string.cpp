#include "engine/uuid_string.h"

#include <array>
#include <cstddef>
#include <cstdint>

namespace tarvel {

std::string stringWithUUID(UuidSource& uuidSource) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  const std::array<std::uint8_t, 16> uuid = uuidSource.createUuid();
  std::string text;
  text.reserve(36);
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text.push_back('-');
    text.push_back(kDigits[uuid[i] >> 4]);
    text.push_back(kDigits[uuid[i] & 0x0F]);
  }
  return text;
}

}  // namespace tarvel
