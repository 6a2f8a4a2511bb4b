#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "platform/collator.h"

namespace tarvel::collation_test {

/// -1, 0 or 1 as `collator` puts `a` before, with or after `b` in a folder of just these two.
inline int compareTwo(Collator& collator, std::string_view a, std::string_view b) {
  const std::vector<std::string_view> titles{a, b};
  const std::vector<std::uint32_t> ranks = collator.rank(titles);
  return ranks[0] < ranks[1] ? -1 : ranks[0] > ranks[1] ? 1 : 0;
}

inline int sign(std::int64_t number) { return number < 0 ? -1 : number > 0 ? 1 : 0; }

inline std::vector<std::string_view> viewsOf(const std::vector<std::string>& titles) {
  return {titles.begin(), titles.end()};
}

/// Names of every locale for which ICU has an order of its own, or of a quarter in a sanitized program, and the root
/// locale.
std::vector<std::string> collationLocales();

/// Titles of up to `longest` characters out of `alphabet`.
std::vector<std::string> randomTitles(std::mt19937& random, std::size_t count, const std::vector<std::string>& alphabet,
                                      std::size_t longest);

/// The printable ASCII characters, one string each.
std::vector<std::string> printableAscii();

/// `text` in UTF-8; a lone surrogate becomes U+FFFD.
std::string utf8(const std::u16string& text);

/// The characters that a table of `locale` may cover, in UTF-8. Its language has a table.
std::vector<std::string> coveredCharacters(const std::string& locale);

/// Letters and marks that collation treats in special ways, mixed with plain ones.
std::vector<std::string> oddCharacters();

/// All strings of the vector file: the titles, then both sides of each pair.
std::vector<std::string> vectorStrings();

}  // namespace tarvel::collation_test
