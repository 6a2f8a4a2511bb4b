// Ordering: the comparison of children, the folder sort, the whole-file sort, and whether anything changed.

#include <tsl/robin_map.h>

#include <algorithm>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "engine/conditional_insert.h"
#include "engine/tarvel.h"
#include "engine/value_coercion.h"

namespace tarvel {

namespace {

/// A child with what it is ordered by. The position makes the order total, and with that the sort stable.
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

/// Which children come first whatever their titles: proxies always; folders, then bookmarks, where that is wanted.
std::uint32_t groupOf(BookmarkNodeType type, bool foldersAtTop) {
  if (type == BookmarkNodeTypeProxy) return 0;
  if (!foldersAtTop) return 1;
  if (type == BookmarkNodeTypeList) return 1;
  return type == BookmarkNodeTypeLeaf ? 2 : 3;
}

/// The collator's ranks. A long title is ranked once, however many of the children have it: equal ones lie at one
/// place.
std::vector<std::uint32_t> ranksOf(std::span<const std::string_view> titles, Collator& collator) {
  const auto isLong = [](std::string_view title) { return title.size() > kLongestShortText; };
  if (std::ranges::none_of(titles, isLong)) return collator.rank(titles);
  tsl::robin_map<const char*, std::uint32_t> known;
  std::vector<std::string_view> distinct;
  std::vector<std::uint32_t> places(titles.size());
  for (std::size_t i = 0; i < titles.size(); ++i) {
    const auto next = static_cast<std::uint32_t>(distinct.size());
    places[i] = isLong(titles[i]) ? known.try_emplace(titles[i].data(), next).first->second : next;
    // A crafted file can hold two texts of different lengths at one place.
    if (places[i] != next && distinct[places[i]].size() != titles[i].size()) places[i] = next;
    if (places[i] == next) distinct.push_back(titles[i]);
  }
  const std::vector<std::uint32_t> ranks = collator.rank(distinct);
  std::ranges::transform(places, places.begin(), [&](std::uint32_t place) { return ranks[place]; });
  return places;
}

/// The folder that carries the sortable top-level nodes through cleaning and ordering. Never written.
PropertyListDictionary makeSubstituteRoot(PropertyListTree& tree, PropertyListArray sortable) {
  const PropertyListDictionary root = tree.makeDictionary();
  root.set(kChildrenKey, sortable.value());
  root.setString(kWebBookmarkTypeKey, kListTypeName);
  root.setString(kTitleKey, "");
  root.setString(kWebBookmarkUUIDKey, "");
  return root;
}

PropertyListArray inOrder(PropertyListArray children, std::span<const std::uint32_t> order) {
  const PropertyListArray ordered = children.makeSuccessor(order.size());
  for (const std::uint32_t position : order) ordered.append(children.at(position));
  return ordered;
}

void appendAll(PropertyListArray from, PropertyListArray to) {
  for (std::size_t i = 0; i < from.size(); ++i) to.append(from.at(i));
}

}  // namespace

PropertyListArray Tarvel::sortedArrayFromBookmarkChildArray(PropertyListArray bookmarkChildArray) {
  return inOrder(bookmarkChildArray, orderOfBookmarkChildArray(bookmarkChildArray));
}

/// The children's positions, in the order the children are to have.
std::vector<std::uint32_t> Tarvel::orderOfBookmarkChildArray(PropertyListArray bookmarkChildArray) const {
  const std::size_t count = bookmarkChildArray.size();
  std::vector<std::string_view> titles(count);
  std::vector<SortEntry> entries(count);
  for (std::uint32_t i = 0; i < count; ++i) {
    bookmarkChildArray.lookAhead(i);
    const PropertyListDictionary node = bookmarkChildArray.at(i).dictionary();
    titles[i] = titleFromBookmarkNode(node).value_or("");
    entries[i] = {groupOf(typeFromBookmarkNode(node), arrangeFoldersAtTop_), 0, i};
  }
  const std::vector<std::uint32_t> ranks = ranksOf(titles, platform_.collator);
  for (std::size_t i = 0; i < count; ++i) entries[i].rank = ranks[i];
  if (!std::ranges::is_sorted(entries, std::less<>())) std::ranges::sort(entries, std::less<>());
  std::vector<std::uint32_t> order(count);
  std::ranges::transform(entries, order.begin(), &SortEntry::position);
  return order;
}

PropertyListDictionary Tarvel::sortBookmarksInDictionary(PropertyListDictionary dictionary) {
  if (boolValue(dictionary.get(kShouldOmitFromUIKey))) return dictionary;
  const PropertyListArray children = dictionary.array(kChildrenKey);
  if (!children || isStopRequested()) return dictionary;
  PropertyListArray newChildren = children.makeSuccessor(children.size());
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListValue child = children.at(i);
    const PropertyListDictionary node = child.dictionary();
    newChildren.append(node ? sortBookmarksInDictionary(node).value() : child);
  }
  // The title alone decides, at any depth; the folders inside were sorted all the same.
  const bool keepsItsOrder = !sortBookmarksBar_ && titleFromBookmarkNode(dictionary) == kBookmarksBarTitle;
  if (!keepsItsOrder) {
    const std::vector<std::uint32_t> order = orderOfBookmarkChildArray(newChildren);
    newChildren = inOrder(newChildren, order);
    sortObserver_->folderOrdered(dictionary, newChildren, order);
  }
  stageObserver_->entriesPassed(newChildren.size());
  const PropertyListDictionary sorted = dictionary.shallowCopy();
  sorted.set(kChildrenKey, newChildren.value());
  return sorted;
}

/// Whether a top-level node stays out of the order: omitted folders, bar and menu, proxies, untyped nodes.
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
  const PropertyListArray newChildren = children.makeSuccessor(children.size());
  const PropertyListArray sortable = tree.makeArray(children.size());
  for (std::size_t i = 0; i < children.size(); ++i) {
    const PropertyListValue child = children.at(i);
    (isTopLevelFixed(child.dictionary()) ? newChildren : sortable).append(child);
  }

  RenamingAllowance allowance;
  const PropertyListDictionary top = makeSubstituteRoot(tree, sortable);
  cleanTree(top, allowance);
  enterStage(SortStage::kOrdering);
  const PropertyListDictionary sortedTop = sortBookmarksInDictionary(top);
  // Bar and menu are cleaned through copies that share their "Children": what is compared below has been cleaned too,
  // so only a changed order counts.
  const auto cleanAndSort = [&](PropertyListDictionary node) {
    const PropertyListDictionary copy = node.shallowCopy();
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

  // Fixed nodes move ahead of the sortable ones whenever the file is rewritten, wherever they stood.
  appendAll(sortedTop.array(kChildrenKey), newChildren);
  const PropertyListDictionary newRoot = rootDictionary.shallowCopy();
  newRoot.set(kChildrenKey, newChildren.value());
  *didSortFlag = true;
  return bookmarksDictionaryWithRootNodeBookmarksBarAndBookmarksMenu(newRoot, sortedBar, sortedMenu);
}

bool Tarvel::areBookmarksEqualInDictionaryAndDictionary(PropertyListDictionary first,
                                                        PropertyListDictionary second) const {
  // Bookmarks are shared by both trees. Still, one without an identifier does not equal even itself.
  const auto firstUUID = first.get(kWebBookmarkUUIDKey).uniqueString();
  if (!firstUUID) return false;
  const auto secondUUID = first == second ? firstUUID : second.get(kWebBookmarkUUIDKey).uniqueString();
  if (!secondUUID || !SameListText()(*firstUUID, *secondUUID)) return false;
  if (first == second && !first.get(kChildrenKey)) return true;
  if (boolValue(first.get(kShouldOmitFromUIKey)) && boolValue(second.get(kShouldOmitFromUIKey))) return true;
  const PropertyListArray firstChildren = first.array(kChildrenKey);
  const PropertyListArray secondChildren = second.array(kChildrenKey);
  if (static_cast<bool>(firstChildren) != static_cast<bool>(secondChildren)) return false;
  if (firstChildren.size() != secondChildren.size()) return false;
  for (std::size_t i = 0; i < firstChildren.size(); ++i) {
    firstChildren.lookAhead(i);
    if (!areBookmarksEqualInDictionaryAndDictionary(firstChildren.at(i).dictionary(),
                                                    secondChildren.at(i).dictionary())) {
      return false;
    }
  }
  return true;
}

std::size_t Tarvel::numberOfBookmarksInDictionary(PropertyListDictionary dictionary) const {
  const BookmarkNodeType type = typeFromBookmarkNode(dictionary);
  if (type == BookmarkNodeTypeLeaf) return 1;
  if (type != BookmarkNodeTypeList) return 0;
  std::size_t bookmarks = 0;
  const PropertyListArray children = dictionary.array(kChildrenKey);
  for (std::size_t i = 0; i < children.size(); ++i) {
    bookmarks += numberOfBookmarksInDictionary(children.at(i).dictionary());
  }
  return bookmarks;
}

}  // namespace tarvel
