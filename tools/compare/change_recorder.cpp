#include "tools/compare/change_recorder.h"

#include <algorithm>
#include <utility>

#include "engine/bookmark_node.h"
#include "tools/compare/entry_text.h"
#include "tools/compare/fewest_moves.h"
#include "tools/compare/sort_comparer.h"

namespace tarvel {

namespace {

std::string titleOf(PropertyListDictionary node) {
  if (const auto title = node.string(kTitleKey)) return shortenedText(*title);
  if (const auto title = node.dictionary(kURIDictionaryKey).string(kURITitleKey)) return shortenedText(*title);
  return shortenedText(node.string(kURLStringKey).value_or(""));
}

/// Empty for an entry without a title, which is shown by its address already.
std::string addressBeside(PropertyListDictionary node) {
  const bool hasTitle = node.string(kTitleKey) || node.dictionary(kURIDictionaryKey).string(kURITitleKey);
  return hasTitle ? shortenedText(node.string(kURLStringKey).value_or("")) : std::string();
}

}  // namespace

void ChangeRecorder::attemptBegan(PropertyListDictionary root) {
  *this = ChangeRecorder();
  root_ = root;
  const PropertyListArray children = root.array(kChildrenKey);
  topLevelCount_ = children.size();
  for (std::size_t i = 0; i < topLevelCount_; ++i) {
    topLevel_.try_emplace(children.at(i).identity(), static_cast<std::uint32_t>(i));
  }
}

/// The titles down to a place. The roots of the three trees have no parent; the one that stands for the top level has
/// no title either, and is not part of a path.
FolderPath ChangeRecorder::pathOf(std::size_t place) {
  if (place == kNowhere) return {};
  std::optional<FolderPath>& known = places_[place].path;
  if (!known) {
    ShortenedPath path;
    for (std::size_t at = place; at != kNowhere && !isTopLevel(at); at = places_[at].parent) {
      if (!path.add(places_[at].title)) break;
    }
    known = FolderPath(path.titles());
  }
  return *known;
}

void ChangeRecorder::folderEntered(PropertyListDictionary folder) {
  places_.push_back({current_, titleOf(folder), folder, std::nullopt});
  current_ = places_.size() - 1;
  if (isTopLevel(current_)) sortable_ = folder;
}

void ChangeRecorder::folderLeft(PropertyListDictionary /*folder*/) { current_ = places_[current_].parent; }

void ChangeRecorder::addRemoval(RemovedEntry removed) {
  ++changes_.removedCount;
  if (changes_.removed.size() < kMostListed) changes_.removed.push_back(std::move(removed));
}

void ChangeRecorder::entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) {
  // Its absence from the new top level is explained already.
  topLevel_.erase(entry.value().identity());
  if (changes_.removed.size() >= kMostListed) {
    ++changes_.removedCount;
    return;
  }
  if (survivor) duplicates_[survivor.value().identity()].push_back(changes_.removed.size());
  addRemoval({pathOf(current_), titleOf(entry), addressBeside(entry), absenceReason(reason), titleOf(survivor), {}});
}

void ChangeRecorder::entryNamed(PropertyListDictionary /*entry*/, std::string_view title) {
  if (changes_.namedCount++ < kMostListed) changes_.named.push_back({pathOf(current_), shortenedText(title)});
}

void ChangeRecorder::entryRenamed(PropertyListDictionary /*entry*/, std::string_view before, std::string_view after) {
  if (changes_.renamedCount++ >= kMostListed) return;
  changes_.renamed.push_back({pathOf(current_), shortenedText(before), shortenedText(after)});
}

void ChangeRecorder::countMoves(std::span<const std::uint32_t> earlierPositions) {
  if (std::ranges::is_sorted(earlierPositions)) return;
  const std::vector<bool> moved = movedEntries(earlierPositions);
  changes_.movedCount += static_cast<std::size_t>(std::ranges::count(moved, true));
  ++changes_.folderCount;
}

void ChangeRecorder::folderOrdered(PropertyListDictionary folder, PropertyListArray /*after*/,
                                   std::span<const std::uint32_t> earlierPositions) {
  // The top level is counted as a whole, once its fixed entries are back.
  if (folder != sortable_) countMoves(earlierPositions);
}

void ChangeRecorder::folderCopied(PropertyListDictionary folder, PropertyListDictionary copy) {
  if (!folder || !copy) return;
  const auto known = topLevel_.find(folder.value().identity());
  if (known != topLevel_.end()) topLevel_.try_emplace(copy.value().identity(), std::uint32_t{known->second});
}

/// Where each entry of the new top level was. A bar that took the place of another one is there twice now, and was
/// there once.
std::vector<std::uint32_t> ChangeRecorder::earlierPositionsOf(PropertyListArray topLevel) const {
  std::vector<std::uint32_t> positions;
  std::vector<bool> isTaken(topLevelCount_, false);
  for (std::size_t i = 0; i < topLevel.size(); ++i) {
    const auto known = topLevel_.find(topLevel.at(i).identity());
    const bool isNew = known == topLevel_.end() || isTaken[known->second];
    positions.push_back(isNew ? static_cast<std::uint32_t>(topLevelCount_ + i) : known->second);
    if (!isNew) isTaken[known->second] = true;
  }
  return positions;
}

/// Entries that cleaning kept and that are missing now: bars and menus that the first one of their name replaced.
void ChangeRecorder::findReplaced(std::span<const std::uint32_t> earlierPositions) {
  std::vector<bool> isThere(topLevelCount_ + earlierPositions.size(), false);
  for (const std::uint32_t position : earlierPositions) isThere[position] = true;
  const PropertyListArray children = root_.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (isThere[i] || !topLevel_.contains(children.at(i).identity())) continue;
    addReplaced(children.at(i).dictionary(), {});
  }
}

/// Recursion is as deep as the tree, which the readers bound.
void ChangeRecorder::addReplaced(PropertyListDictionary entry, const FolderPath& folder) {
  if (!entry) return;
  addRemoval({folder, titleOf(entry), addressBeside(entry), AbsenceReason::kReplaced, {}, {}});
  const PropertyListArray children = entry.array(kChildrenKey);
  if (children.empty()) return;
  std::vector<std::string> titles(folder.begin(), folder.end());
  titles.push_back(titleOf(entry));
  const FolderPath path(std::move(titles));
  for (std::size_t i = 0; i < children.size(); ++i) addReplaced(children.at(i).dictionary(), path);
}

void ChangeRecorder::orderTopLevel(PropertyListArray after) {
  const std::vector<std::uint32_t> earlierPositions = earlierPositionsOf(after);
  findReplaced(earlierPositions);
  countMoves(earlierPositions);
}

void ChangeRecorder::attemptEnded(PropertyListDictionary root, bool didSort) {
  changes_.isOrderChanged = didSort && root;
  if (!duplicates_.empty()) placeSurvivors();
  if (changes_.isOrderChanged) {
    orderTopLevel(root.array(kChildrenKey));
  } else {
    // Entries with one identifier that swapped places do not count as a change.
    changes_.movedCount = 0;
    changes_.folderCount = 0;
  }
}

/// Notes where the bookmark that stays of each listed duplicate is, by the titles that the file then has.
void ChangeRecorder::placeSurvivors() {
  for (Place& place : places_) {
    if (!changes_.isOrderChanged) break;
    place.title = titleOf(place.folder);
    place.path.reset();
  }
  for (std::size_t i = 0; i < places_.size(); ++i) {
    const PropertyListArray children = places_[i].folder.array(kChildrenKey);
    for (std::size_t j = 0; j < children.size(); ++j) {
      const auto found = duplicates_.find(children.at(j).identity());
      if (found == duplicates_.end()) continue;
      for (const std::size_t index : found->second) changes_.removed[index].keptFolder = pathOf(i);
    }
  }
}

}  // namespace tarvel
