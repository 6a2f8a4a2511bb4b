#include "tools/change_report.h"

#include <algorithm>
#include <numeric>
#include <optional>

#include "engine/bookmark_node.h"

namespace tarvel {

namespace {

std::string titleOf(PropertyListDictionary node) {
  if (const auto title = node.string(kTitleKey)) return std::string(*title);
  if (const auto title = node.dictionary(kURIDictionaryKey).string(kURITitleKey)) return std::string(*title);
  return std::string(node.string(kURLStringKey).value_or(""));
}

/// What stays the same on an entry when folders are copied: its identifier, else its title and address.
std::string markOf(PropertyListDictionary node) {
  if (const auto uuid = node.string(kWebBookmarkUUIDKey)) return "#" + std::string(*uuid);
  return titleOf(node) + "\n" + std::string(node.string(kURLStringKey).value_or(""));
}

/// For each entry of the new order its earlier position; marks the fewest entries whose moves explain the change: all
/// but a longest run of earlier positions that ascends.
void markMoved(std::vector<OrderedEntry>& entries) {
  std::vector<std::size_t> tails;
  std::vector<std::optional<std::size_t>> previous(entries.size());
  for (std::size_t i = 0; i < entries.size(); ++i) {
    const auto place = std::ranges::lower_bound(tails, entries[i].earlierPosition, std::less<>(),
                                                [&](std::size_t tail) { return entries[tail].earlierPosition; });
    if (place != tails.begin()) previous[i] = *(place - 1);
    if (place == tails.end()) {
      tails.push_back(i);
    } else {
      *place = i;
    }
    entries[i].isMoved = true;
  }
  if (tails.empty()) return;
  for (std::optional<std::size_t> i = tails.back(); i; i = previous[*i]) entries[*i].isMoved = false;
}

bool isReordered(const std::vector<OrderedEntry>& entries) {
  return !std::ranges::is_sorted(entries, std::less<>(), &OrderedEntry::earlierPosition);
}

}  // namespace

std::size_t OrderedFolder::movedCount() const {
  return static_cast<std::size_t>(std::ranges::count_if(entries, &OrderedEntry::isMoved));
}

std::size_t Changes::movedCount() const {
  return std::accumulate(ordered.begin(), ordered.end(), std::size_t{0},
                         [](std::size_t sum, const OrderedFolder& folder) { return sum + folder.movedCount(); });
}

void ChangeRecorder::attemptBegan(PropertyListDictionary root) {
  *this = ChangeRecorder();
  const PropertyListArray children = root.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) topLevel_.push_back(markOf(children.at(i).dictionary()));
}

/// The path without the stand-in for the top level, which has an empty title.
FolderPath ChangeRecorder::currentFolder() const {
  const bool isTopLevel = !path_.empty() && path_.front().empty();
  return {path_.begin() + (isTopLevel ? 1 : 0), path_.end()};
}

void ChangeRecorder::folderEntered(PropertyListDictionary folder) {
  const std::string title = titleOf(folder);
  // Each tree has addresses of its own.
  if (path_.empty()) kept_.clear();
  path_.push_back(title);
  paths_[folder.value().identity()] = currentFolder();
}

void ChangeRecorder::folderLeft(PropertyListDictionary /*folder*/) { path_.pop_back(); }

void ChangeRecorder::entryRemoved(PropertyListDictionary entry, RemovalReason reason) {
  if (path_.empty()) return;  // The root of a tree: found empty, but never removed.
  RemovedEntry removed{currentFolder(), titleOf(entry), "", reason, "", {}};
  removed.address = entry.string(kURLStringKey).value_or("");
  if (reason == RemovalReason::kDuplicate) {
    const KeptBookmark& kept = kept_[removed.address];
    removed.keptTitle = kept.title;
    removed.keptFolder = kept.folder;
  }
  changes_.removed.push_back(std::move(removed));
}

void ChangeRecorder::addressKept(PropertyListDictionary bookmark) {
  kept_[std::string(*bookmark.string(kURLStringKey))] = {titleOf(bookmark), currentFolder()};
}

void ChangeRecorder::entryNamed(PropertyListDictionary /*entry*/, std::string_view title) {
  changes_.named.push_back({currentFolder(), std::string(title)});
}

void ChangeRecorder::entryRenamed(PropertyListDictionary /*entry*/, std::string_view before, std::string_view after) {
  changes_.renamed.push_back({currentFolder(), std::string(before), std::string(after)});
}

void ChangeRecorder::folderOrdered(PropertyListDictionary folder, PropertyListArray before, PropertyListArray after) {
  const auto path = paths_.find(folder.value().identity());
  // The top level is compared as a whole once its fixed entries are back, see rootRebuilt().
  if (path == paths_.end() || path->second.empty()) return;
  std::unordered_map<std::uint32_t, std::size_t> positions;
  for (std::size_t i = 0; i < before.size(); ++i) positions[before.at(i).identity()] = i;
  OrderedFolder ordered{path->second, {}};
  for (std::size_t i = 0; i < after.size(); ++i) {
    const PropertyListValue entry = after.at(i);
    ordered.entries.push_back({titleOf(entry.dictionary()), positions[entry.identity()], false});
  }
  if (!isReordered(ordered.entries)) return;
  markMoved(ordered.entries);
  changes_.ordered.push_back(std::move(ordered));
}

void ChangeRecorder::rootRebuilt(PropertyListDictionary newRoot) {
  changes_.isOrderChanged = true;
  std::unordered_map<std::string, std::vector<std::size_t>> positions;
  for (std::size_t i = topLevel_.size(); i-- > 0;) positions[topLevel_[i]].push_back(i);
  OrderedFolder top;
  const PropertyListArray children = newRoot.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListDictionary entry = children.at(i).dictionary();
    std::vector<std::size_t>& earlier = positions[markOf(entry)];
    const std::size_t position = earlier.empty() ? topLevel_.size() + i : earlier.back();
    if (!earlier.empty()) earlier.pop_back();
    top.entries.push_back({titleOf(entry), position, false});
  }
  if (!isReordered(top.entries)) return;
  markMoved(top.entries);
  changes_.ordered.insert(changes_.ordered.begin(), std::move(top));
}

}  // namespace tarvel
