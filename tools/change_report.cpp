#include "tools/change_report.h"

#include <algorithm>
#include <numeric>
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

/// What stays the same on an entry when folders are copied: its identifier, else its title and address.
std::string markOf(PropertyListDictionary node) {
  if (const auto uuid = node.string(kWebBookmarkUUIDKey)) return "#" + shortenedText(*uuid);
  return titleOf(node) + "\n" + shortenedText(node.string(kURLStringKey).value_or(""));
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
  const PropertyListArray children = root.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) topLevel_.push_back(markOf(children.at(i).dictionary()));
}

/// The titles down to a place. The roots of the three trees have no parent; the one that stands for the top level has
/// no title either, and is no part of a path.
FolderPath ChangeRecorder::pathOf(std::size_t place) const {
  FolderPath path;
  for (; place != kNowhere; place = places_[place].parent) {
    const bool isTopLevel = places_[place].parent == kNowhere && places_[place].title.empty();
    if (!isTopLevel) path.push_back(places_[place].title);
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
  if (std::ranges::is_sorted(earlierPositions)) return;
  const auto place = placesByIdentity_.find(folder.value().identity());
  if (place == placesByIdentity_.end()) return;
  FolderPath path = pathOf(place->second);
  // The top level is compared as a whole once its fixed entries are back, see orderTopLevel().
  if (!path.empty()) addOrder(std::move(path), after, earlierPositions);
}

void ChangeRecorder::orderTopLevel(PropertyListArray after) {
  tsl::robin_map<std::string, std::vector<std::uint32_t>> positions;
  for (std::size_t i = topLevel_.size(); i-- > 0;) positions[topLevel_[i]].push_back(static_cast<std::uint32_t>(i));
  std::vector<std::uint32_t> earlierPositions;
  for (std::size_t i = 0; i < after.size(); ++i) {
    std::vector<std::uint32_t>& earlier = positions[markOf(after.at(i).dictionary())];
    earlierPositions.push_back(static_cast<std::uint32_t>(earlier.empty() ? topLevel_.size() + i : earlier.back()));
    if (!earlier.empty()) earlier.pop_back();
  }
  if (std::ranges::is_sorted(earlierPositions)) return;
  addOrder({}, after, earlierPositions);
  std::rotate(changes_.ordered.begin(), changes_.ordered.end() - 1, changes_.ordered.end());
}

void ChangeRecorder::attemptEnded(PropertyListDictionary root, bool didSort) {
  changes_.isOrderChanged = didSort && root;
  if (!duplicates_.empty()) findKept(root);
  if (changes_.isOrderChanged) orderTopLevel(root.array(kChildrenKey));
}

/// Looks for the bookmarks that stayed where duplicates went.
void ChangeRecorder::findKept(PropertyListDictionary root) {
  const PropertyListArray children = root.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListDictionary child = children.at(i).dictionary();
    const auto title = child.string(kTitleKey);
    const bool isOwnTree = title == kBookmarksBarTitle || title == kBookmarksMenuTitle;
    // What stands outside the three trees was not searched for duplicates either.
    const bool isOutside = boolValue(child.get(kShouldOmitFromUIKey));
    FolderPath path;
    if (!isOutside || isOwnTree) findKeptBelow(child, isOwnTree ? std::string(*title) : std::string(), path);
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
