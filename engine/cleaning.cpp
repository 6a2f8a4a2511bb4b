// Cleaning: removes entries, names untitled ones, makes titles unique, and gives the root a new identifier.

#include <string>

#include "engine/conditional_insert.h"
#include "engine/tarvel.h"
#include "engine/uuid_string.h"
#include "engine/value_coercion.h"

namespace tarvel {

namespace {

constexpr std::string_view kNoName = "No Name";
constexpr std::uint64_t kFirstSuffix = 2;
constexpr std::string_view kTooManyTitles =
    "WARNING: some entries keep the title of a sibling, as the titles to tell them apart would take more than 32 MB. "
    "Spread them over more folders, or rename them.";

/// The node's entries as text, for the log.
std::string descriptionOf(PropertyListDictionary node) {
  std::string description = "{";
  for (std::size_t i = 0; i < node.size(); ++i) {
    const auto key = node.keyAt(i).string();
    const auto text = node.valueAt(i).string();
    description += std::string(key.value_or("?")) + " = " + std::string(text.value_or("...")) + "; ";
  }
  return description + "}";
}

}  // namespace

void Tarvel::validateBookmarksInRootNode(PropertyListDictionary rootNode) {
  RenamingAllowance allowance;
  cleanTree(rootNode, allowance);
}

void Tarvel::cleanTree(PropertyListDictionary rootNode, RenamingAllowance& allowance) {
  enterStage(SortStage::kCleaning);
  BookmarkSet duplicateURLLookupSet;
  // The root itself is never removed, so only its children are checked.
  if (typeFromBookmarkNode(rootNode) == BookmarkNodeTypeList) cleanChildren(rootNode, duplicateURLLookupSet, allowance);
}

bool Tarvel::isFaultyBookmarkNodeUseDuplicateURLLookupSet(PropertyListDictionary bookmarkNode,
                                                          BookmarkSet& duplicateURLLookupSet) {
  RenamingAllowance allowance;
  return isFaultyNode(bookmarkNode, duplicateURLLookupSet, allowance);
}

bool Tarvel::isFaultyNode(PropertyListDictionary node, BookmarkSet& bookmarks, RenamingAllowance& allowance) {
  switch (typeFromBookmarkNode(node)) {
    case BookmarkNodeTypeList:
      return isFaultyFolder(node, bookmarks, allowance);
    case BookmarkNodeTypeLeaf:
      return isFaultyLeaf(node, bookmarks);
    case BookmarkNodeTypeNone:
    case BookmarkNodeTypeProxy:
      return false;
  }
  return false;
}

void Tarvel::cleanChildren(PropertyListDictionary folder, BookmarkSet& bookmarks, RenamingAllowance& allowance) {
  const PropertyListArray children = folder.array(kChildrenKey);
  if (children.empty() || isStopRequested()) return;
  sortObserver_->folderEntered(folder);
  TitleLookupSet titles(renameSamenamed_ ? children.size() : 0, bookmarks.textHash());
  // From the last child to the first: the last of the duplicates stays, the last of the same-named keeps its title.
  children.retainBackwards([&](PropertyListValue child) {
    const PropertyListDictionary node = child.dictionary();
    if (!node) return true;  // Not a node: kept as it is.
    if (isFaultyNode(node, bookmarks, allowance)) return false;
    validateTitle(node, titles, allowance);
    return true;
  });
  sortObserver_->folderLeft(folder);
  stageObserver_->entriesPassed(children.size());
}

bool Tarvel::isFaultyFolder(PropertyListDictionary folder, BookmarkSet& bookmarks, RenamingAllowance& allowance) {
  cleanChildren(folder, bookmarks, allowance);
  if (!folder.array(kChildrenKey).empty()) return false;
  sortObserver_->entryRemoved(folder, RemovalReason::kEmptyFolder, {});
  return true;
}

bool Tarvel::isFaultyLeaf(PropertyListDictionary leaf, BookmarkSet& duplicateURLLookupSet) {
  const PropertyListValue address = leaf.get(kURLStringKey);
  const auto text = address.uniqueString();
  if (!text || address.textHas(isBlank)) {
    sortObserver_->entryRemoved(leaf, RemovalReason::kNoAddress, {});
    return true;
  }
  if (removeDuplicates_) {
    if (const PropertyListDictionary survivor = duplicateURLLookupSet.insert(leaf, *text)) {
      sortObserver_->entryRemoved(leaf, RemovalReason::kDuplicate, survivor);
      return true;
    }
  }
  return isStaleResource(*text);
}

bool Tarvel::isStaleResource(std::string_view /*address*/) const { return false; }

void Tarvel::validateBookmarkNodeTitleUseDuplicateTitleLookupSet(PropertyListDictionary bookmarkNode,
                                                                 TitleLookupSet& duplicateTitleLookupSet) {
  RenamingAllowance allowance;
  validateTitle(bookmarkNode, duplicateTitleLookupSet, allowance);
}

void Tarvel::validateTitle(PropertyListDictionary node, TitleLookupSet& titles, RenamingAllowance& allowance) {
  const auto title = titleFromBookmarkNode(node);
  if (!title) {
    // Not added to the set: two untitled siblings may get the same name, until the next run.
    PropertyListValue name = node.get(kURLStringKey);
    if (!name.string()) name = node.value().tree()->makeString(nameForUntitledBookmarkNode());
    setTitleValue(name, node);
    sortObserver_->entryNamed(node, *name.string());
    return;
  }
  if (!renameSamenamed_) return;
  if (insertObject(titles.titles, *title)) {
    // Read from the node first, written to its "URIDictionary" first: of two titles the latter becomes a copy.
    if (const PropertyListValue own = node.get(kTitleKey); own.string()) setTitleValue(own, node);
    return;
  }
  renameBookmarkNode(node, *title, titles, allowance);
}

/// Each candidate extends the previous one: News, News 2, News 2 3. The set only grows, so the candidates of an earlier
/// sibling are still taken, and the search continues where that one ended.
void Tarvel::renameBookmarkNode(PropertyListDictionary bookmarkNode, std::string_view title, TitleLookupSet& titles,
                                RenamingAllowance& allowance) {
  PropertyListTree& tree = *bookmarkNode.value().tree();
  RenamingChain& chain = titles.chains.try_emplace(title, RenamingChain{kFirstSuffix, title}).first.value();
  PropertyListValue candidate;
  do {
    const std::string suffix = " " + std::to_string(chain.next);
    if (!allowance.take(chain.lastCandidate.size() + suffix.size())) {
      if (allowance.isFirstRefusal()) platform_.systemLog.log(kTooManyTitles);
      return;
    }
    candidate = tree.makeString(std::string(chain.lastCandidate) + suffix);
    chain.lastCandidate = *candidate.string();
    ++chain.next;
  } while (!insertObject(titles.titles, chain.lastCandidate));
  if (chain.next < kFirstSuffix) {
    // The counter wrapped around.
    candidate = tree.makeString(std::string(chain.lastCandidate) + " 1");
    platform_.systemLog.log("WARNING: assigning a possibly non-unique title “" + std::string(*candidate.string()) +
                            "” for bookmark node: " + descriptionOf(bookmarkNode));
  }
  setTitleValue(candidate, bookmarkNode);
  sortObserver_->entryRenamed(bookmarkNode, title, *candidate.string());
}

std::string Tarvel::nameForUntitledBookmarkNode() const {
  return platform_.bundle.localizedStringForKeyValue(kNoName, "");
}

void Tarvel::updateWebBookmarkUUIDInDictionary(PropertyListDictionary dictionary) {
  dictionary.setString(kWebBookmarkUUIDKey, stringWithUUID(platform_.uuidSource));
}

}  // namespace tarvel
