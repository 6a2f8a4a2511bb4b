#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tarvel {

/// Orders titles the way the user's language does: case ignored, accents not, digits one by one.
class Collator {
 public:
  virtual ~Collator() = default;

  /// One rank for each title, comparable only with the others of the same call: a lower rank comes first, equal ranks
  /// are titles that compare the same. Titles are UTF-8, lone surrogates as three bytes. Ranks, rather than a
  /// comparison, because no set of ranks can contradict itself: whatever the language data says, a sort by them ends
  /// and repeats.
  [[nodiscard]] virtual std::vector<std::uint32_t> rank(std::span<const std::string_view> titles) = 0;
};

}  // namespace tarvel
