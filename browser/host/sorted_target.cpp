#include <tsl/robin_map.h>

#include "browser/host/order.h"

namespace tarvel {

namespace {

class Sorter {
 public:
  Sorter(const BrowserTree& tree, Tarvel& tarvel) : tree_(tree), tarvel_(tarvel) {}

  Target sort() {
    target_.children.resize(tree_.nodes.size());
    for (std::uint32_t i = 0; i < tree_.nodes.size(); ++i) {
      const BrowserNode& node = tree_.nodes[i];
      target_.children[i] = node.kind == BrowserNodeKind::kFolder && !keepsItsOrder(node) && !isBelowFixed(i)
                                ? sorted(node.children)
                                : node.children;
    }
    return std::move(target_);
  }

 private:
  /// The engine's rule, which tests the title.
  [[nodiscard]] bool keepsItsOrder(const BrowserNode& folder) const {
    return !tarvel_.sortBookmarksBar() && tarvel_.titleFromBookmarkNode(folder.folder) == kBookmarksBarTitle;
  }

  [[nodiscard]] bool isBelowFixed(std::uint32_t node) const {
    while (node != kNoNode && tree_.nodes[node].kind == BrowserNodeKind::kFolder) node = tree_.nodes[node].parent;
    return node != kNoNode;
  }

  [[nodiscard]] std::vector<std::uint32_t> sorted(const std::vector<std::uint32_t>& children) {
    std::vector<std::uint32_t> order;
    std::vector<std::uint32_t> group;
    std::vector<std::uint32_t> last;
    order.reserve(children.size());
    for (const std::uint32_t child : children) {
      const BrowserNode& node = tree_.nodes[child];
      if (node.holdsRemoved) {
        last.push_back(child);
      } else if (node.kind == BrowserNodeKind::kFixed) {
        appendSorted(group, order);
        group.clear();
        order.push_back(child);
      } else {
        group.push_back(child);
      }
    }
    appendSorted(group, order);
    order.insert(order.end(), last.begin(), last.end());
    return order;
  }

  void appendSorted(const std::vector<std::uint32_t>& group, std::vector<std::uint32_t>& order) {
    if (group.size() < 2) {
      order.insert(order.end(), group.begin(), group.end());
      return;
    }
    const PropertyListArray array = tree_.list->makeArray(group.size());
    tsl::robin_map<std::uint32_t, std::uint32_t> numbers;
    numbers.reserve(group.size());
    for (const std::uint32_t child : group) {
      const PropertyListValue value = tree_.nodes[child].folder.value();
      numbers.emplace(value.identity(), child);
      array.append(value);
    }
    const PropertyListArray inOrder = tarvel_.sortedArrayFromBookmarkChildArray(array);
    for (std::size_t i = 0; i < inOrder.size(); ++i) order.push_back(numbers.at(inOrder.at(i).identity()));
  }

  const BrowserTree& tree_;
  Tarvel& tarvel_;
  Target target_;
};

}  // namespace

Target sortedTarget(const BrowserTree& tree, Tarvel& tarvel) { return Sorter(tree, tarvel).sort(); }

}  // namespace tarvel
