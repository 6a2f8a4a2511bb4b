#pragma once

#include <tsl/robin_map.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "engine/sort_observer.h"
#include "tools/compare/changes.h"

namespace tarvel {

/// Counts what a sort does, and lists the first removals and new titles as texts that outlive the tree. Costs little
/// for what did not change. It lists no moved entries: SortComparer has those.
class ChangeRecorder final : public SortObserver {
 public:
  /// How many entries of each kind are listed; all are counted.
  static constexpr std::size_t kMostListed = 20;

  void attemptBegan(PropertyListDictionary root) override;
  void folderEntered(PropertyListDictionary folder) override;
  void folderLeft(PropertyListDictionary folder) override;
  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override;
  void entryNamed(PropertyListDictionary entry, std::string_view title) override;
  void entryRenamed(PropertyListDictionary entry, std::string_view before, std::string_view after) override;
  void folderOrdered(PropertyListDictionary folder, PropertyListArray after,
                     std::span<const std::uint32_t> earlierPositions) override;
  void folderCopied(PropertyListDictionary folder, PropertyListDictionary copy) override;
  void attemptEnded(PropertyListDictionary root, bool didSort) override;

  [[nodiscard]] const Changes& changes() const { return changes_; }

 private:
  /// A folder that cleaning entered.
  struct Place {
    std::size_t parent;
    std::string title;
    PropertyListDictionary folder;
    std::optional<FolderPath> path;  ///< Once it was asked for.
  };

  [[nodiscard]] FolderPath pathOf(std::size_t place);
  [[nodiscard]] bool isTopLevel(std::size_t place) const {
    return places_[place].parent == kNowhere && places_[place].title.empty();
  }
  void countMoves(std::span<const std::uint32_t> earlierPositions);
  [[nodiscard]] std::vector<std::uint32_t> earlierPositionsOf(PropertyListArray topLevel) const;
  void orderTopLevel(PropertyListArray after);
  void findReplaced(std::span<const std::uint32_t> earlierPositions);
  void addReplaced(PropertyListDictionary entry, const FolderPath& folder);
  void addRemoval(RemovedEntry removed);
  void placeSurvivors();

  Changes changes_;
  PropertyListDictionary root_;
  /// The substitute that carries the sortable entries of the top level.
  PropertyListDictionary sortable_;
  std::vector<Place> places_;
  std::size_t current_ = kNowhere;
  /// The listed removals that name a survivor, by that.
  tsl::robin_map<std::uint32_t, std::vector<std::size_t>> duplicates_;
  /// The positions of the top-level entries in the file, by node and by the copies that took a node's place.
  tsl::robin_map<std::uint32_t, std::uint32_t> topLevel_;
  std::size_t topLevelCount_ = 0;

  static constexpr std::size_t kNowhere = static_cast<std::size_t>(-1);
};

}  // namespace tarvel
