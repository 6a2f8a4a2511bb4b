#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

struct UCollator;

namespace tarvel {

/// ICU's weights for one element of a text. The first difference of primary weights orders two texts; without one, the
/// first difference of secondary weights does. A mark has primary weight 0 unless the language counts it as a letter.
struct CollationElement {
  std::uint32_t primary;
  std::uint32_t secondary;

  [[nodiscard]] bool operator==(const CollationElement&) const = default;
};

/// One or more characters with the same fold, and the elements of that fold.
struct Letter {
  std::u16string fold;
  std::vector<CollationElement> elements;
};

/// The elements of `text` without those that have no weight; absent when ICU fails. Equal weights are equal to ICU.
/// Greater primary weights may come earlier, because a language can reorder scripts.
[[nodiscard]] std::optional<std::vector<CollationElement>> elementsOf(const UCollator* collator,
                                                                      std::u16string_view text);

/// Whether each letter of a text keeps its own elements. `text` holds positions among `letters`.
[[nodiscard]] bool keepElements(const UCollator* collator, const std::vector<Letter>& letters,
                                const std::vector<std::size_t>& text);

/// A sequence of numbers below `count` that contains every sequence of `length` of them (a de Bruijn sequence, with its
/// beginning repeated at its end).
[[nodiscard]] std::vector<std::size_t> allSequences(std::size_t count, std::size_t length);

}  // namespace tarvel
