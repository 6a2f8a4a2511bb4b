#include <algorithm>

#include "browser/host/order.h"
#include "engine/bookmark_node.h"

namespace tarvel {

namespace {

/// Two folders would contain each other if a folder between them was deleted since. They are then in no tree of the
/// target, and the plan leaves them and their contents where they are.
class Restorer {
 public:
  Restorer(const BrowserTree& tree, RestoredScope scope)
      : tree_(tree), scope_(scope), parents_(tree.nodes.size()), ranks_(tree.nodes.size(), 0) {
    for (std::size_t i = 0; i < parents_.size(); ++i) parents_[i] = tree_.nodes[i].parent;
  }

  Target restore(PropertyListArray roots) {
    for (std::size_t i = 0; i < roots.size(); ++i) readFolder(roots.at(i).dictionary());
    target_.children.resize(tree_.nodes.size());
    gatherKnown();
    for (std::uint32_t i = 0; i < tree_.nodes.size(); ++i) mergeNew(i);
    if (scope_ == RestoredScope::kEverything) dropEmptyFoldersOfRemoved();
    return std::move(target_);
  }

 private:
  /// Notes the places and titles of a folder's children.
  void readFolder(PropertyListDictionary folder) {
    const std::uint32_t number = tree_.find(folder.string(kWebBookmarkUUIDKey).value_or(""));
    const bool isThere = number != kNoNode && tree_.nodes[number].kind == BrowserNodeKind::kFolder;
    const PropertyListArray children = folder.array(kChildrenKey);
    for (std::size_t i = 0; i < children.size(); ++i) {
      const PropertyListDictionary node = children.at(i).dictionary();
      const auto id = node ? node.string(kWebBookmarkUUIDKey) : children.at(i).string();
      const std::uint32_t child = tree_.find(id.value_or(""));
      if (child != kNoNode && isThere && !isRoot(child) && mayBeIn(child, number)) {
        parents_[child] = number;
        ranks_[child] = ++lastRank_;
      }
      if (!node) continue;
      if (child != kNoNode && !isRoot(child) && scope_ == RestoredScope::kEverything) readTitle(child, node);
      readFolder(node);
    }
  }

  void readTitle(std::uint32_t number, PropertyListDictionary node) {
    const std::string_view title = node.string(kTitleKey).value_or("");
    const BrowserNode& now = tree_.nodes[number];
    if (now.kind == BrowserNodeKind::kFixed || now.title == title) return;
    target_.titles.emplace_back(number, *tree_.list->makeString(title).string());
  }

  [[nodiscard]] bool mayBeIn(std::uint32_t node, std::uint32_t folder) const {
    return scope_ == RestoredScope::kEverything || tree_.nodes[node].parent == folder;
  }

  [[nodiscard]] bool isRoot(std::uint32_t node) const { return tree_.nodes[node].parent == kNoNode; }

  [[nodiscard]] bool isKnown(std::uint32_t node) const { return ranks_[node] != 0; }

  void gatherKnown() {
    for (std::uint32_t i = 0; i < parents_.size(); ++i) {
      if (isKnown(i)) target_.children[parents_[i]].push_back(i);
    }
    for (auto& children : target_.children) {
      std::ranges::sort(children, {}, [this](std::uint32_t node) { return ranks_[node]; });
    }
  }

  /// Puts each entry that the record lacks behind the sibling that it follows now.
  void mergeNew(std::uint32_t folder) {
    const std::vector<std::uint32_t>& now = tree_.nodes[folder].children;
    const auto isNew = [&](std::uint32_t child) { return !isKnown(child) && parents_[child] == folder; };
    if (std::ranges::none_of(now, isNew)) return;
    std::vector<std::pair<std::uint32_t, std::uint32_t>> places;  // A rank, and what follows it.
    std::uint32_t rank = 0;
    for (const std::uint32_t child : now) {
      if (isNew(child)) {
        places.emplace_back(rank, child);
      } else if (parents_[child] == folder) {
        rank = ranks_[child];
      }
    }
    for (const std::uint32_t child : target_.children[folder]) places.emplace_back(ranks_[child], child);
    // The known one comes first of those with its rank, then the new ones in their order.
    std::ranges::stable_sort(places, [this](const auto& a, const auto& b) {
      return a.first != b.first ? a.first < b.first : isKnown(a.second) > isKnown(b.second);
    });
    target_.children[folder].clear();
    for (const auto& [place, child] : places) target_.children[folder].push_back(child);
  }

  /// Removes the folder of removed entries that the undone run created, if it is empty.
  void dropEmptyFoldersOfRemoved() {
    const std::uint32_t root = tree_.rootOfRemoved();
    if (root == kNoNode) return;
    std::erase_if(target_.children[root], [this](std::uint32_t child) {
      const bool isSuperfluous = tree_.nodes[child].holdsRemoved && !isKnown(child) && target_.children[child].empty();
      if (isSuperfluous) target_.superfluous.push_back(child);
      return isSuperfluous;
    });
  }

  const BrowserTree& tree_;
  RestoredScope scope_;
  Target target_;
  std::vector<std::uint32_t> parents_;
  /// The place in the record, counted over all of it; 0 for an entry that the record lacks.
  std::vector<std::uint32_t> ranks_;
  std::uint32_t lastRank_ = 0;
};

}  // namespace

Target restoredTarget(const BrowserTree& tree, PropertyListArray before, RestoredScope scope) {
  return Restorer(tree, scope).restore(before);
}

}  // namespace tarvel
