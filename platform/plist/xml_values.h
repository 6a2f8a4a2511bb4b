#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/plist/xml_cursor.h"

// Readers of leaf elements' contents, from after the opening tag to before the closing tag. None means failure, with
// the cursor's error set.
namespace tarvel {

struct XmlInteger {
  bool isNegative;
  std::uint64_t magnitude;  ///< At most 2^63 when negative.
};

/// Decimal, or hexadecimal with "0x"; from -2^63 to 2^64 - 1.
[[nodiscard]] std::optional<XmlInteger> readXmlInteger(XmlCursor& cursor);

/// Decimal, "nan", "inf" or "infinity". Overflow gives infinity, underflow zero.
[[nodiscard]] std::optional<double> readXmlReal(XmlCursor& cursor);

/// Seconds since 2001-01-01 00:00:00 UTC. Fields are not range-checked; excess carries over into the next field.
[[nodiscard]] std::optional<double> readXmlDate(XmlCursor& cursor);

/// Base64. Characters outside the alphabet and an incomplete last group are ignored; a byte above 0x7F is an error.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> readXmlData(XmlCursor& cursor);

}  // namespace tarvel
