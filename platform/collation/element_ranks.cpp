#include "platform/collation/element_ranks.h"

#include <algorithm>
#include <cstddef>
#include <set>
#include <string>
#include <utility>

namespace tarvel {
namespace {

/// The primary weights that are a letter's only element, in the order of sort keys: unlike the weights, these follow a
/// language that reorders scripts. Weights may repeat.
std::vector<std::uint32_t> primariesInOrder(const TitleOrder& order, const std::vector<Letter>& letters) {
  std::vector<std::pair<std::string, std::uint32_t>> keyed;
  std::vector<std::uint8_t> key;
  for (const Letter& letter : letters) {
    if (letter.elements.size() != 1) continue;
    key.clear();
    order.appendSortKey(letter.fold, key);
    keyed.emplace_back(std::string(key.begin(), key.end()), letter.elements[0].primary);
  }
  std::sort(keyed.begin(), keyed.end());
  std::vector<std::uint32_t> weights;
  for (const auto& [sortKey, primary] : keyed) weights.push_back(primary);
  return weights;
}

std::set<std::uint32_t> secondaries(const std::vector<Letter>& letters) {
  std::set<std::uint32_t> weights;
  for (const Letter& letter : letters) {
    for (const CollationElement& element : letter.elements) weights.insert(element.secondary);
  }
  return weights;
}

template <typename Weights>
std::map<std::uint32_t, std::uint8_t> ranksFrom(std::uint8_t first, const Weights& weights) {
  std::map<std::uint32_t, std::uint8_t> ranks;
  for (const std::uint32_t weight : weights) ranks.emplace(weight, static_cast<std::uint8_t>(first + ranks.size()));
  return ranks;
}

}  // namespace

std::optional<ElementRanks> rankElements(const TitleOrder& order, const std::vector<Letter>& letters) {
  constexpr std::size_t kMost = UINT8_MAX - 1;
  ElementRanks ranks{ranksFrom(ElementRanks::kFirstPrimary, primariesInOrder(order, letters)),
                     ranksFrom(ElementRanks::kFirstSecondary, secondaries(letters))};
  if (ranks.primary.size() > kMost || ranks.secondary.size() > kMost) return std::nullopt;
  return ranks;
}

}  // namespace tarvel
