#include "tools/change_report.h"

#include <algorithm>
#include <numeric>
#include <optional>
#include <string>
#include <utility>

#include "engine/bookmark_node.h"
#include "engine/conditional_insert.h"
#include "engine/value_coercion.h"
#include "tools/entry_text.h"
#include "tools/fewest_moves.h"

namespace tarvel {

namespace {

constexpr std::size_t kLongestAddress = 1000;

std::string titleOf(PropertyListDictionary node) {
  if (const auto title = node.string(kTitleKey)) return shortenedText(*title);
  if (const auto title = node.dictionary(kURIDictionaryKey).string(kURITitleKey)) return shortenedText(*title);
  return shortenedText(node.string(kURLStringKey).value_or(""));
}

/// Long addresses are told apart by a hash, so that many of them take no more memory than the file.
std::string duplicateKey(const std::string& tree, std::string_view address) {
  static const KeyedTextHash hash;
  return tree + "\n" + (address.size() <= kLongestAddress ? std::string(address) : std::to_string(hash(address)));
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
FolderPath ChangeRecorder::pathOf(std::size_t place) const {
  FolderPath path;
  for (; place != kNowhere; place = places_[place].parent) {
    if (!isTopLevel(place)) path.push_back(places_[place].title);
  }
  std::ranges::reverse(path);
  return path;
}

void ChangeRecorder::folderEntered(PropertyListDictionary folder) {
  places_.push_back({current_, titleOf(folder)});
  current_ = places_.size() - 1;
  placesByIdentity_[folder.value().identity()] = current_;
}

void ChangeRecorder::folderLeft(PropertyListDictionary /*folder*/) { current_ = places_[current_].parent; }

void ChangeRecorder::entryRemoved(PropertyListDictionary entry, RemovalReason reason) {
  if (current_ == kNowhere) return;  // The root of a tree: found empty, but never removed.
  // Not to be missed at the top level afterwards.
  topLevel_.erase(entry.value().identity());
  RemovedEntry removed{currentFolder(), titleOf(entry), "", reason, "", {}};
  const std::string_view address = entry.string(kURLStringKey).value_or("");
  removed.address = shortenedText(address);
  if (reason == RemovalReason::kDuplicate) {
    std::size_t root = current_;
    while (places_[root].parent != kNowhere) root = places_[root].parent;
    duplicates_[duplicateKey(places_[root].title, address)].push_back(changes_.removed.size());
  }
  changes_.removed.push_back(std::move(removed));
}

void ChangeRecorder::entryNamed(PropertyListDictionary /*entry*/, std::string_view title) {
  changes_.named.push_back({currentFolder(), shortenedText(title)});
}

void ChangeRecorder::entryRenamed(PropertyListDictionary /*entry*/, std::string_view before, std::string_view after) {
  changes_.renamed.push_back({currentFolder(), shortenedText(before), shortenedText(after)});
}

/// Gives every folder below `folder` a place that has none yet. As deep as the tree is nested, which the readers bound.
void ChangeRecorder::placeUnentered(PropertyListDictionary folder, std::size_t place) {
  const PropertyListArray children = folder.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListDictionary child = children.at(i).dictionary();
    if (child.array(kChildrenKey).empty()) continue;
    const auto [known, isNew] = placesByIdentity_.try_emplace(child.value().identity(), places_.size());
    const std::size_t childPlace = known->second;
    if (isNew) places_.push_back({place, titleOf(child)});
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
    places_.push_back({kNowhere, ""});
    placeUnentered(root_, places_.size() - 1);
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
  std::vector<bool> isThere(topLevelCount_ + earlierPositions.size(), false);
  for (const std::uint32_t position : earlierPositions) isThere[position] = true;
  const PropertyListArray children = root_.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    if (isThere[i] || !topLevel_.contains(children.at(i).identity())) continue;
    FolderPath path;
    addReplaced(children.at(i).dictionary(), path);
  }
}

/// As deep as the tree is nested, which the readers bound.
void ChangeRecorder::addReplaced(PropertyListDictionary entry, FolderPath& path) {
  if (!entry) return;
  changes_.removed.push_back({path,
                              titleOf(entry),
                              shortenedText(entry.string(kURLStringKey).value_or("")),
                              RemovalReason::kEmptyFolder,
                              "",
                              {},
                              true});
  const PropertyListArray children = entry.array(kChildrenKey);
  path.push_back(titleOf(entry));
  for (std::size_t i = 0; i < children.size(); ++i) addReplaced(children.at(i).dictionary(), path);
  path.pop_back();
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
  if (!duplicates_.empty()) findKept(root);
  if (changes_.isOrderChanged) {
    orderTopLevel(root.array(kChildrenKey));
  } else {
    // Entries of one identifier that changed places among themselves are no change.
    changes_.ordered.clear();
  }
}

/// Looks for the bookmarks that stayed where duplicates went.
void ChangeRecorder::findKept(PropertyListDictionary root) {
  const PropertyListArray children = root.array(kChildrenKey);
  std::vector<std::string> ownTrees;
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListDictionary child = children.at(i).dictionary();
    const std::string title(child.string(kTitleKey).value_or(""));
    const bool isBarOrMenu = title == kBookmarksBarTitle || title == kBookmarksMenuTitle;
    // What stands outside the three trees was not searched for duplicates either: a second bar, and what is hidden.
    const bool isSpare = isBarOrMenu && std::ranges::count(ownTrees, title) != 0;
    if (isSpare || (!isBarOrMenu && boolValue(child.get(kShouldOmitFromUIKey)))) continue;
    if (isBarOrMenu) ownTrees.push_back(title);
    FolderPath path;
    findKeptBelow(child, isBarOrMenu ? title : std::string(), path);
  }
}

void ChangeRecorder::findKeptBelow(PropertyListDictionary node, const std::string& tree, FolderPath& path) {
  if (node.string(kWebBookmarkTypeKey) == kLeafTypeName) {
    const auto found = duplicates_.find(duplicateKey(tree, node.string(kURLStringKey).value_or("")));
    if (found == duplicates_.end()) return;
    for (const std::size_t index : found->second) {
      changes_.removed[index].keptTitle = titleOf(node);
      changes_.removed[index].keptFolder = path;
    }
    return;
  }
  if (node.string(kWebBookmarkTypeKey) != kListTypeName) return;
  path.push_back(titleOf(node));
  const PropertyListArray children = node.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) findKeptBelow(children.at(i).dictionary(), tree, path);
  path.pop_back();
}

}  // namespace tarvel
