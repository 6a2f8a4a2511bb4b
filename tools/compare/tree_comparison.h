#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <tuple>
#include <vector>

#include "engine/sort_observer.h"
#include "tools/compare/entry_tree.h"

namespace tarvel {

/// Why an entry of the earlier tree is not in the later one.
enum class AbsenceReason : std::uint8_t {
  kGone,         ///< No reason is known.
  kEmptyFolder,  ///< Cleaning: a folder without content.
  kNoAddress,    ///< Cleaning: a bookmark without an address.
  kDuplicate,    ///< Cleaning: the address comes again.
  kReplaced,     ///< The first of two top-level folders of one title took the other one's place.
};

struct Removal {
  AbsenceReason reason = AbsenceReason::kGone;
  /// Of a duplicate: the bookmark that stays, an index into the later tree.
  std::size_t kept = kNoEntry;
};

/// Two trees, and what changed of each entry. Every report, as text, JSON or a page, is made from this.
struct TreeComparison {
  EntryTree before;
  EntryTree after;
  /// Of the entries of `before`, by index.
  std::vector<Removal> removals;

  /// How many entries underwent a change.
  [[nodiscard]] std::size_t count(EntryChange change) const;
};

/// Completes a comparison of which counterparts, new titles and addresses are known: marks what moved, was removed and
/// added, and gathers for each folder what happened below it. Removals without a reason are kGone.
void markChanges(TreeComparison& comparison);

/// Whether every entry is in both trees, at the same place and with the same title and address.
[[nodiscard]] bool isUnchanged(const TreeComparison& comparison);

/// Gathers `changes` upwards, for each tree. Part of markChanges().
void gatherChanges(EntryTree& tree);

}  // namespace tarvel
