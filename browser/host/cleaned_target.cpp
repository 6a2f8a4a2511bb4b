#include "browser/host/order.h"
#include "engine/bookmark_node.h"

namespace tarvel {

namespace {

/// Records the changes of the engine's cleaning.
class CleaningRecorder final : public SortObserver {
 public:
  CleaningRecorder(const BrowserTree& tree, Target& target) : tree_(tree), target_(target) {}

  void entryRemoved(PropertyListDictionary entry, RemovalReason reason, PropertyListDictionary survivor) override {
    target_.takenOut.push_back({numberOf(entry), reason, survivor ? numberOf(survivor) : kNoNode});
  }
  void entryNamed(PropertyListDictionary entry, std::string_view title) override {
    target_.titles.emplace_back(numberOf(entry), title);
  }
  void entryRenamed(PropertyListDictionary entry, std::string_view /*before*/, std::string_view after) override {
    target_.titles.emplace_back(numberOf(entry), after);
  }

 private:
  [[nodiscard]] std::uint32_t numberOf(PropertyListDictionary entry) const {
    return tree_.find(entry.string(kWebBookmarkUUIDKey).value_or(""));
  }

  const BrowserTree& tree_;
  Target& target_;
};

/// The children that the engine has left in a folder.
std::vector<std::uint32_t> childrenLeftIn(const BrowserTree& tree, PropertyListDictionary folder) {
  const PropertyListArray array = folder.array(kChildrenKey);
  std::vector<std::uint32_t> children;
  children.reserve(array.size());
  for (std::size_t i = 0; i < array.size(); ++i) {
    const PropertyListValue child = array.at(i);
    const auto fixed = child.string();
    children.push_back(tree.find(fixed ? *fixed : child.dictionary().string(kWebBookmarkUUIDKey).value_or("")));
  }
  return children;
}

std::uint32_t folderOfRemoved(const BrowserTree& tree, const std::string& title) {
  const std::uint32_t root = tree.rootOfRemoved();
  for (const std::uint32_t child : tree.nodes[root].children) {
    if (tree.nodes[child].holdsRemoved && tree.nodes[child].title == title) return child;
  }
  return kNoNode;
}

/// Adds a folder that the browser does not have yet, at the end of the root of such folders.
std::uint32_t addFolderOfRemoved(BrowserTree& tree, Target& target, const std::string& title) {
  const std::uint32_t root = tree.rootOfRemoved();
  const auto number = static_cast<std::uint32_t>(tree.nodes.size());
  BrowserNode node;
  node.kind = BrowserNodeKind::kFixed;
  node.holdsRemoved = true;
  node.title = *tree.list->makeString(title).string();
  node.parent = root;
  tree.nodes.push_back(std::move(node));
  tree.nodes[root].children.push_back(number);
  target.children.emplace_back();
  target.children[root].push_back(number);
  target.created = number;
  return number;
}

}  // namespace

Target cleanedTarget(BrowserTree& tree, Tarvel& tarvel, const std::string& folderTitle) {
  Target target;
  CleaningRecorder recorder(tree, target);
  tarvel.setSortObserver(&recorder);
  for (const std::uint32_t root : tree.roots) {
    if (tree.nodes[root].kind == BrowserNodeKind::kFolder) tarvel.validateBookmarksInRootNode(tree.nodes[root].folder);
  }
  tarvel.setSortObserver(nullptr);
  target.children.resize(tree.nodes.size());
  for (std::size_t i = 0; i < tree.nodes.size(); ++i) {
    const BrowserNode& node = tree.nodes[i];
    target.children[i] = node.kind == BrowserNodeKind::kFolder ? childrenLeftIn(tree, node.folder) : node.children;
  }
  if (target.takenOut.empty()) return target;
  std::uint32_t folder = folderOfRemoved(tree, folderTitle);
  if (folder == kNoNode) folder = addFolderOfRemoved(tree, target, folderTitle);
  for (const TakenOut& entry : target.takenOut) target.children[folder].push_back(entry.node);
  return target;
}

}  // namespace tarvel
