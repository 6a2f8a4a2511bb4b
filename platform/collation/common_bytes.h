#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace tarvel {

/// The length of the common prefix of `a` and `b`, rounded down to a multiple of eight. A fast start for loops that
/// then compare what the bytes stand for.
[[nodiscard]] inline std::size_t commonBytes(std::string_view a, std::string_view b) {
  const std::size_t most = std::min(a.size(), b.size());
  std::size_t count = 0;
  for (std::uint64_t x = 0, y = 0; count + sizeof x <= most; count += sizeof x) {
    std::memcpy(&x, a.data() + count, sizeof x);
    std::memcpy(&y, b.data() + count, sizeof y);
    if (x != y) break;
  }
  return count;
}

}  // namespace tarvel
