#include "tools/compare/change_report.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include "engine/bookmark_node.h"
#include "tools/compare/entry_text.h"
#include "tools/compare/fewest_moves.h"

namespace tarvel {

namespace {

std::string titleOf(PropertyListDictionary node) {
  if (const auto title = node.string(kTitleKey)) return shortenedText(*title);
  if (const auto title = node.dictionary(kURIDictionaryKey).string(kURITitleKey)) return shortenedText(*title);
  return shortenedText(node.string(kURLStringKey).value_or(""));
}

}  // namespace

std::size_t Changes::movedCount() const {
  return std::accumulate(ordered.begin(), ordered.end(), std::size_t{0},
                         [](std::size_t sum, const OrderedFolder& folder) { return sum + folder.movedCount; });
}

void ChangeRecorder::attemptBegan(PropertyListDictionary root) {
  *this = ChangeRecorder(detail_);
  root_ = root;
  const PropertyListArray children = root.array(kChildrenKey);
  topLevelCount_ = children.size();
  for (std::size_t i = 0; i < topLevelCount_; ++i) {
    const auto position = static_cast<std::uint32_t>(i);
    topLevel_.try_emplace(children.at(i).identity(), position);
    const auto title = children.at(i).dictionary().string(kTitleKey);
    if (title == kBookmarksBarTitle || title == kBookmarksMenuTitle) fixed_.try_emplace(std::string(*title), position);
  }
}

/// The titles down to a place. The roots of the three trees have no parent; the one that stands for the top level has
/// no title either, and is no part of a path.
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

std::size_t ChangeRecorder::addPlace(std::size_t parent, PropertyListDictionary folder) {
  places_.push_back({parent, titleOf(folder), folder, std::nullopt});
  return places_.size() - 1;
}

void ChangeRecorder::folderEntered(PropertyListDictionary folder) {
  current_ = addPlace(current_, folder);
  placesByIdentity_[folder.value().identity()] = current_;
}

void ChangeRecorder::folderLeft(PropertyListDictionary /*folder*/) { current_ = places_[current_].parent; }

void ChangeRecorder::entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) {
  // Not to be missed at the top level afterwards.
  topLevel_.erase(entry.value().identity());
  if (survivor) duplicates_[survivor.value().identity()].push_back(changes_.removed.size());
  changes_.removed.push_back({pathOf(current_), titleOf(entry), shortenedText(entry.string(kURLStringKey).value_or("")),
                              reason, titleOf(survivor), FolderPath()});
}

void ChangeRecorder::entryNamed(PropertyListDictionary /*entry*/, std::string_view title) {
  changes_.named.push_back({pathOf(current_), shortenedText(title)});
}

void ChangeRecorder::entryRenamed(PropertyListDictionary /*entry*/, std::string_view before, std::string_view after) {
  changes_.renamed.push_back({pathOf(current_), shortenedText(before), shortenedText(after)});
}

/// Gives every folder below `folder` a place that has none yet. As deep as the tree is nested, which the readers bound.
void ChangeRecorder::placeUnentered(PropertyListDictionary folder, std::size_t place) {
  const PropertyListArray children = folder.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListDictionary child = children.at(i).dictionary();
    if (child.array(kChildrenKey).empty()) continue;
    const auto [known, isNew] = placesByIdentity_.try_emplace(child.value().identity(), places_.size());
    const std::size_t childPlace = known->second;
    if (isNew) (void)addPlace(place, child);
    placeUnentered(child, childPlace);
  }
}

void ChangeRecorder::addOrder(FolderPath folder, PropertyListArray after,
                              std::span<const std::uint32_t> earlierPositions) {
  const std::vector<bool> moved = movedEntries(earlierPositions);
  OrderedFolder ordered{std::move(folder), static_cast<std::size_t>(std::ranges::count(moved, true)), {}};
  for (std::size_t i = 0; detail_ == OrderDetail::kEntries && i < after.size(); ++i) {
    ordered.entries.push_back({titleOf(after.at(i).dictionary()), earlierPositions[i], moved[i]});
  }
  changes_.ordered.push_back(std::move(ordered));
}

void ChangeRecorder::folderOrdered(PropertyListDictionary folder, PropertyListArray after,
                                   std::span<const std::uint32_t> earlierPositions) {
  auto place = placesByIdentity_.find(folder.value().identity());
  if (place != placesByIdentity_.end() && isTopLevel(place->second)) {
    // Compared as a whole once its fixed entries are back, see orderTopLevel(). What is a folder is a copy by now.
    const PropertyListArray before = folder.array(kChildrenKey);
    for (std::size_t i = 0; i < after.size(); ++i) {
      const auto known = topLevel_.find(before.at(earlierPositions[i]).identity());
      if (known != topLevel_.end()) topLevel_.try_emplace(after.at(i).identity(), std::uint32_t{known->second});
    }
    return;
  }
  if (std::ranges::is_sorted(earlierPositions)) return;
  if (place == placesByIdentity_.end()) {
    // Proxies and nodes of no known type are not cleaned; what is in them is ordered. They are rare enough to be looked
    // for only when one of them has another order.
    placeUnentered(root_, addPlace(kNowhere, {}));
    place = placesByIdentity_.find(folder.value().identity());
  }
  if (place == placesByIdentity_.end()) return;
  addOrder(pathOf(place->second), after, earlierPositions);
}

/// Where each entry of the new top level was, by what it is; bar and menu are copies, and known by their titles. One
/// that stands twice now, as a bar that took the place of another one, was there once.
std::vector<std::uint32_t> ChangeRecorder::earlierPositionsOf(PropertyListArray topLevel) const {
  std::vector<std::uint32_t> positions;
  std::vector<bool> isTaken(topLevelCount_, false);
  for (std::size_t i = 0; i < topLevel.size(); ++i) {
    std::optional<std::uint32_t> earlier;
    if (const auto known = topLevel_.find(topLevel.at(i).identity()); known != topLevel_.end()) earlier = known->second;
    const auto fixed = fixed_.find(std::string(topLevel.at(i).dictionary().string(kTitleKey).value_or("")));
    if (!earlier && fixed != fixed_.end()) earlier = fixed->second;
    const bool isNew = !earlier || isTaken[*earlier];
    positions.push_back(isNew ? static_cast<std::uint32_t>(topLevelCount_ + i) : *earlier);
    if (!isNew) isTaken[*earlier] = true;
  }
  return positions;
}

/// What cleaning left and is gone all the same: other bars and menus than the first, in whose place that one stands
/// now.
void ChangeRecorder::findReplaced(std::span<const std::uint32_t> earlierPositions) {
  std::vector<bool> isInteractive(topLevelCount_ + earlierPositions.size(), false);
  for (const std::uint32_t position : earlierPositions) isInteractive[position] = true;
  const PropertyListArray children = root_.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (isInteractive[i] || !topLevel_.contains(children.at(i).identity())) continue;
    addReplaced(children.at(i).dictionary(), {});
  }
}

/// As deep as the tree is nested, which the readers bound.
void ChangeRecorder::addReplaced(PropertyListDictionary entry, const FolderPath& folder) {
  if (!entry) return;
  changes_.removed.push_back({folder,
                              titleOf(entry),
                              shortenedText(entry.string(kURLStringKey).value_or("")),
                              RemovalReason::kEmptyFolder,
                              "",
                              {},
                              true});
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
  if (std::ranges::is_sorted(earlierPositions)) return;
  addOrder({}, after, earlierPositions);
  std::rotate(changes_.ordered.begin(), changes_.ordered.end() - 1, changes_.ordered.end());
}

void ChangeRecorder::attemptEnded(PropertyListDictionary root, bool didSort) {
  changes_.isOrderChanged = didSort && root;
  if (!duplicates_.empty()) placeSurvivors();
  if (changes_.isOrderChanged) {
    orderTopLevel(root.array(kChildrenKey));
  } else {
    // Entries of one identifier that changed places among themselves are no change.
    changes_.ordered.clear();
  }
}

/// Says of each duplicate where the bookmark that stays is, by the titles that the folders have in the end.
void ChangeRecorder::placeSurvivors() {
  for (Place& place : places_) {
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
