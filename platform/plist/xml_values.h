#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "platform/plist/xml_cursor.h"

// The contents of the XML form's leaf elements, from behind the opening tag up to the closing tag. None means that
// reading has failed and the cursor knows why.
namespace tarvel {

struct XmlInteger {
  bool isNegative;
  std::uint64_t magnitude;  ///< At most 2^63 when negative.
};

/// Decimal, or hexadecimal after "0x"; from -2^63 to 2^64 - 1.
[[nodiscard]] std::optional<XmlInteger> readXmlInteger(XmlCursor& cursor);

/// Decimal, "nan", "inf" or "infinity". Too large a number is infinite, too small a one is zero.
[[nodiscard]] std::optional<double> readXmlReal(XmlCursor& cursor);

/// Seconds since 2001-01-01 00:00:00 UTC. No field is checked for its range; what is too much carries over.
[[nodiscard]] std::optional<double> readXmlDate(XmlCursor& cursor);

/// Base 64 in groups of four; an incomplete last group and characters of no meaning are left out.
[[nodiscard]] std::optional<std::vector<std::uint8_t>> readXmlData(XmlCursor& cursor);

}  // namespace tarvel
