#pragma once

#include <string>

#include "platform/uuid_source.h"

namespace tarvel {

/// A new UUID in its canonical text: 36 characters, groups of 8, 4, 4, 4 and 12 upper-case hexadecimal digits.
[[nodiscard]] std::string stringWithUUID(UuidSource& uuidSource);

}  // namespace tarvel
