#pragma once

#include <compare>
#include <cstdint>

namespace tarvel {

/// An instant of the wall clock: seconds since 1970-01-01 UTC, and nanoseconds below 1,000,000,000.
struct Date {
  std::int64_t seconds = 0;       ///< Negative before 1970.
  std::uint32_t nanoseconds = 0;  ///< After that second.
  /// The earlier instant is the lesser one.
  // NOLINTNEXTLINE(modernize-use-nullptr): the zero that a rewritten comparison has is taken for a pointer.
  friend auto operator<=>(const Date&, const Date&) = default;
};

}  // namespace tarvel
