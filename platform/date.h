#pragma once

#include <compare>
#include <cstdint>

namespace tarvel {

/// An instant of the wall clock: seconds since 1970-01-01 UTC, plus nanoseconds below 1,000,000,000.
struct Date {
  std::int64_t seconds = 0;       ///< Negative before 1970.
  std::uint32_t nanoseconds = 0;  ///< After that second.
  /// Chronological.
  // NOLINTNEXTLINE(modernize-use-nullptr): the 0 in a rewritten comparison is mistaken for a pointer.
  friend auto operator<=>(const Date&, const Date&) = default;
};

}  // namespace tarvel
