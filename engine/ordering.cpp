// Ordering: the comparison of children, the folder sort, the whole-file sort, and the test for changes.

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "engine/conditional_insert.h"
#include "engine/tarvel.h"
#include "engine/title_ranks.h"
#include "engine/value_coercion.h"

namespace tarvel {

namespace {

/// The sort key of a child. The position makes the order total, and so the sort stable.
struct SortEntry {
  std::uint32_t group;
  std::uint32_t rank;
  std::uint32_t position;

  friend bool operator<(const SortEntry& a, const SortEntry& b) {
    if (a.group != b.group) return a.group < b.group;
    if (a.rank != b.rank) return a.rank < b.rank;
    return a.position < b.position;
  }
};

void sortUnlessSorted(std::span<SortEntry> entries) {
  if (!std::ranges::is_sorted(entries, std::less<>())) std::ranges::sort(entries, std::less<>());
}

/// Groups sort before titles: proxies always come first, then folders before bookmarks if the option is on.
std::uint32_t groupOf(BookmarkNodeType type, bool foldersAtTop) {
  if (type == BookmarkNodeTypeProxy) return 0;
  if (!foldersAtTop) return 1;
  if (type == BookmarkNodeTypeList) return 1;
  return type == BookmarkNodeTypeLeaf ? 2 : 3;
}

/// Ranks each group by itself: ranks depend on every title of a call, and titles of another group must not move those
/// of this one. `entries` are sorted by group, and then as `titles`, by position.
void rankGroups(std::span<SortEntry> entries, std::span<const std::string_view> titles, Collator& collator) {
  while (!entries.empty()) {
    const auto isOther = [&](const SortEntry& entry) { return entry.group != entries.front().group; };
    const std::span<SortEntry> group(entries.begin(), std::ranges::find_if(entries, isOther));
    const bool isOnly = group.size() == titles.size();
    std::vector<std::string_view> ofGroup;
    if (!isOnly) {
      for (const SortEntry& entry : group) ofGroup.push_back(titles[entry.position]);
    }
    const std::vector<std::uint32_t> ranks = ranksOfTitles(isOnly ? titles : ofGroup, collator);
    for (std::size_t i = 0; i < group.size(); ++i) group[i].rank = ranks[i];
    entries = entries.subspan(group.size());
  }
}

/// A temporary folder for cleaning and ordering the sortable top-level nodes. Never written.
PropertyListDictionary makeSubstituteRoot(PropertyListTree& tree, PropertyListArray sortable) {
  const PropertyListDictionary root = tree.makeDictionary();
  root.set(kChildrenKey, sortable.value());
  root.setString(kWebBookmarkTypeKey, kListTypeName);
  root.setString(kTitleKey, "");
  root.setString(kWebBookmarkUUIDKey, "");
  return root;
}

PropertyListArray inOrder(PropertyListArray children, std::span<const std::uint32_t> order) {
  const PropertyListArray ordered = children.value().tree()->makeArray(order.size());
  for (const std::uint32_t position : order) ordered.append(children.at(position));
  return ordered;
}

/// A node without an identifier does not even equal itself.
bool haveSameUUID(PropertyListDictionary first, PropertyListDictionary second) {
  const PropertyListValue uuid = first.get(kWebBookmarkUUIDKey);
  if (first == second) return uuid.type() == PropertyListType::kString;
  const auto a = uuid.uniqueString();
  const auto b = second.get(kWebBookmarkUUIDKey).uniqueString();
  return a && b && SameListText()(*a, *b);
}

void appendAll(PropertyListArray from, PropertyListArray to) {
  for (const PropertyListValue element : from) to.append(element);
}

}  // namespace

PropertyListArray Tarvel::sortedArrayFromBookmarkChildArray(PropertyListArray bookmarkChildArray) {
  return inOrder(bookmarkChildArray, orderOfBookmarkChildArray(bookmarkChildArray));
}

/// The current positions of the children, in sorted order.
std::vector<std::uint32_t> Tarvel::orderOfBookmarkChildArray(PropertyListArray bookmarkChildArray) const {
  const std::size_t count = bookmarkChildArray.size();
  std::vector<SortEntry> entries;
  std::vector<std::string_view> titles;
  entries.reserve(count);
  titles.reserve(count);
  for (const PropertyListValue child : bookmarkChildArray) {
    const PropertyListDictionary node = child.dictionary();
    const auto position = static_cast<std::uint32_t>(entries.size());
    const std::uint32_t group = groupOf(typeFromBookmarkNode(node), arrangeFoldersAtTop_);
    entries.push_back({group, 0, position});
    titles.push_back(titleFromBookmarkNode(node).value_or(""));
  }
  sortUnlessSorted(entries);  // By group, as all ranks are still 0.
  rankGroups(entries, titles, platform_.collator);
  sortUnlessSorted(entries);
  std::vector<std::uint32_t> order(count);
  std::ranges::transform(entries, order.begin(), &SortEntry::position);
  return order;
}

PropertyListDictionary Tarvel::sortBookmarksInDictionary(PropertyListDictionary dictionary) {
  const PropertyListArray children = dictionary.array(kChildrenKey);
  if (!children || boolValue(dictionary.get(kShouldOmitFromUIKey)) || isStopRequested()) return dictionary;
  PropertyListArray newChildren = children.value().tree()->makeArray(children.size());
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListValue child = children.at(i);
    const PropertyListDictionary node = child.dictionary();
    newChildren.append(node ? sortBookmarksInDictionary(node).value() : child);
  }
  // Decided by the title alone, at any depth. The folders inside have been sorted anyway.
  const bool keepsItsOrder = !sortBookmarksBar_ && titleFromBookmarkNode(dictionary) == kBookmarksBarTitle;
  if (!keepsItsOrder) {
    const std::vector<std::uint32_t> order = orderOfBookmarkChildArray(newChildren);
    if (!std::ranges::is_sorted(order)) newChildren = inOrder(newChildren, order);
    sortObserver_->folderOrdered(dictionary, newChildren, order);
  }
  stageObserver_->entriesPassed(newChildren.size());
  const PropertyListDictionary sorted = dictionary.shallowCopy();
  sorted.set(kChildrenKey, newChildren.value());
  sortObserver_->folderCopied(dictionary, sorted);
  return sorted;
}

/// Whether a top-level node is not sorted: omitted folders, bar and menu, proxies, untyped nodes.
bool Tarvel::isTopLevelFixed(PropertyListDictionary node) const {
  const BookmarkNodeType type = typeFromBookmarkNode(node);
  if (type == BookmarkNodeTypeLeaf) return false;
  if (type != BookmarkNodeTypeList) return true;
  const auto title = titleFromBookmarkNode(node);
  return boolValue(node.get(kShouldOmitFromUIKey)) || title == kBookmarksBarTitle || title == kBookmarksMenuTitle;
}

PropertyListDictionary Tarvel::sortBookmarksWithRootDictionaryAndDidSortFlag(PropertyListDictionary rootDictionary,
                                                                             bool* didSortFlag) {
  *didSortFlag = false;
  const PropertyListArray children = rootDictionary.array(kChildrenKey);
  if (children.empty()) return rootDictionary;
  PropertyListTree& tree = *rootDictionary.value().tree();
  const PropertyListArray newChildren = tree.makeArray(children.size());
  const PropertyListArray sortable = tree.makeArray(children.size());
  for (const PropertyListValue child : children) {
    (isTopLevelFixed(child.dictionary()) ? newChildren : sortable).append(child);
  }

  RenamingAllowance allowance;
  const PropertyListDictionary top = makeSubstituteRoot(tree, sortable);
  cleanTree(top, allowance);
  enterStage(SortStage::kOrdering);
  const PropertyListDictionary sortedTop = sortBookmarksInDictionary(top);
  // Bar and menu are cleaned through copies that share their "Children". Both sides of the comparison below are
  // therefore clean, and only a changed order counts.
  const auto cleanAndSort = [&](PropertyListDictionary node) {
    const PropertyListDictionary copy = node.shallowCopy();
    sortObserver_->folderCopied(node, copy);
    cleanTree(copy, allowance);
    enterStage(SortStage::kOrdering);
    return sortBookmarksInDictionary(copy);
  };
  const PropertyListDictionary bar = bookmarksBarDictionaryFromBookmarksFileRootNode(rootDictionary);
  const PropertyListDictionary sortedBar = cleanAndSort(bar);
  const PropertyListDictionary menu = bookmarksMenuDictionaryFromBookmarksFileRootNode(rootDictionary);
  const PropertyListDictionary sortedMenu = cleanAndSort(menu);
  if (areBookmarksEqualInDictionaryAndDictionary(top, sortedTop) &&
      areBookmarksEqualInDictionaryAndDictionary(bar, sortedBar) &&
      areBookmarksEqualInDictionaryAndDictionary(menu, sortedMenu)) {
    return rootDictionary;
  }

  // Whenever the file is rewritten, fixed nodes move before the sortable ones.
  appendAll(sortedTop.array(kChildrenKey), newChildren);
  const PropertyListDictionary newRoot = rootDictionary.shallowCopy();
  newRoot.set(kChildrenKey, newChildren.value());
  *didSortFlag = true;
  return bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(newRoot, sortedBar, sortedMenu);
}

bool Tarvel::areBookmarksEqualInDictionaryAndDictionary(PropertyListDictionary first,
                                                        PropertyListDictionary second) const {
  if (!haveSameUUID(first, second)) return false;
  if (first == second && !first.get(kChildrenKey)) return true;  // A bookmark, which both trees share.
  if (boolValue(first.get(kShouldOmitFromUIKey)) && boolValue(second.get(kShouldOmitFromUIKey))) return true;
  const PropertyListArray firstChildren = first.array(kChildrenKey);
  const PropertyListArray secondChildren = second.array(kChildrenKey);
  if (static_cast<bool>(firstChildren) != static_cast<bool>(secondChildren)) return false;
  if (firstChildren.size() != secondChildren.size()) return false;
  // By index, as an iterator would fetch what no identifier is compared with.
  for (std::size_t i = 0; i < firstChildren.size(); ++i) {
    const PropertyListDictionary child = firstChildren.at(i).dictionary();
    if (!areBookmarksEqualInDictionaryAndDictionary(child, secondChildren.at(i).dictionary())) return false;
  }
  return true;
}

std::size_t Tarvel::numberOfBookmarksInDictionary(PropertyListDictionary dictionary) const {
  const BookmarkNodeType type = typeFromBookmarkNode(dictionary);
  if (type == BookmarkNodeTypeLeaf) return 1;
  if (type != BookmarkNodeTypeList) return 0;
  std::size_t bookmarks = 0;
  for (const PropertyListValue child : dictionary.array(kChildrenKey)) {
    bookmarks += numberOfBookmarksInDictionary(child.dictionary());
  }
  return bookmarks;
}

}  // namespace tarvel
