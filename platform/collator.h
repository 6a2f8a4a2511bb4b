#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

namespace tarvel {

/// Orders titles by the rules of the user's language: case is ignored, accents count, digits compare one by one.
class Collator {
 public:
  virtual ~Collator() = default;

  /// One rank per title, comparable only within one call: lower ranks come first, equal ranks compare equal. Titles are
  /// UTF-8; a lone surrogate is three bytes. The interface returns ranks instead of comparing pairs because ranks are
  /// always a strict weak order, whatever the language data says.
  [[nodiscard]] virtual std::vector<std::uint32_t> rank(std::span<const std::string_view> titles) = 0;

  /// Says that about `count` titles will be ranked, in all calls to come. Ranks do not depend on it, only time does.
  virtual void expectTitles(std::size_t count) { (void)count; }
};

}  // namespace tarvel
