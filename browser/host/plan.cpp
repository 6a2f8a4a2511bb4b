#include "browser/host/plan.h"

#include <optional>

#include "browser/host/json_strings.h"
#include "tools/compare/fewest_moves.h"

namespace tarvel {

namespace {

/// Bytes of a new title; a longer one is not set, to keep messages bounded.
constexpr std::size_t kLongestTitle = std::size_t{32} << 10;

/// Counts the entries before a place that are still to be moved: a Fenwick tree.
class Waiting {
 public:
  explicit Waiting(std::size_t size) : counts_(size + 1, 0) {}

  void add(std::size_t place) { change(place, 1); }
  void remove(std::size_t place) { change(place, -1); }

  [[nodiscard]] std::uint32_t countBefore(std::size_t place) const {
    std::int64_t count = 0;
    for (; place > 0; place &= place - 1) count += counts_[place];
    return static_cast<std::uint32_t>(count);
  }

 private:
  void change(std::size_t place, int by) {
    for (++place; place < counts_.size(); place += place & (~place + 1)) counts_[place] += by;
  }

  std::vector<std::int32_t> counts_;
};

class Planner {
 public:
  Planner(const BrowserTree& tree, const Target& target)
      : tree_(tree), target_(target), places_(tree.nodes.size(), 0), hasLeft_(tree.nodes.size(), false) {
    for (const BrowserNode& node : tree_.nodes) {
      for (std::uint32_t i = 0; i < node.children.size(); ++i) places_[node.children[i]] = i;
    }
  }

  std::vector<Operation> plan() {
    create();
    // A folder before its contents: then no folder is ever moved into itself.
    std::vector<std::uint32_t> stack(tree_.roots.rbegin(), tree_.roots.rend());
    while (!stack.empty()) {
      const std::uint32_t folder = stack.back();
      stack.pop_back();
      arrange(folder);
      const auto& children = target_.children[folder];
      stack.insert(stack.end(), children.rbegin(), children.rend());
    }
    for (const auto& [node, title] : target_.titles) {
      if (title.size() > kLongestTitle) continue;
      plan_.push_back({OperationKind::kRetitle, node, kNoNode, 0, false, title});
    }
    for (const std::uint32_t folder : target_.superfluous)
      plan_.push_back({OperationKind::kRemove, folder, kNoNode, 0, false, {}});
    return std::move(plan_);
  }

 private:
  void create() {
    if (target_.created == kNoNode) return;
    const BrowserNode& node = tree_.nodes[target_.created];
    plan_.push_back(
        {OperationKind::kCreate, target_.created, node.parent, places_[target_.created], false, node.title});
  }

  void arrange(std::uint32_t folder) {
    const auto& now = tree_.nodes[folder].children;
    const auto& wanted = target_.children[folder];
    if (tree_.nodes[folder].hasCorruptPositions) {
      rebuild(folder);
    } else if (now != wanted) {
      moveFewest(folder);
    }
  }

  [[nodiscard]] bool isIn(std::uint32_t node, std::uint32_t folder) const {
    return tree_.nodes[node].parent == folder && !hasLeft_[node];
  }

  /// Moves every child to the end in turn, then every one to the beginning. Firefox shifts all positions between the
  /// old and the new one. Each pass alone leaves some gaps and repeated positions; both together leave none. Children
  /// that go to another folder stay behind the others until they are moved.
  void rebuild(std::uint32_t folder) {
    const auto& wanted = target_.children[folder];
    std::uint32_t count = 0;
    for (const std::uint32_t child : tree_.nodes[folder].children) count += isIn(child, folder) ? 1U : 0U;
    for (const std::uint32_t child : wanted) {
      const bool isHere = isIn(child, folder);
      if (!isHere) ++count;
      plan_.push_back({OperationKind::kMove, child, folder, count - 1, isHere, {}});
      hasLeft_[child] = true;
    }
    for (std::size_t i = wanted.size(); i-- > 0;) {
      plan_.push_back({OperationKind::kMove, wanted[i], folder, 0, false, {}});
    }
  }

  /// Which of the wanted children keep their place, while the others move around them.
  [[nodiscard]] std::vector<bool> stayingIn(std::uint32_t folder) const {
    const auto& wanted = target_.children[folder];
    std::vector<std::uint32_t> earlier;
    std::vector<std::size_t> candidates;
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      if (!isIn(wanted[i], folder)) continue;
      earlier.push_back(places_[wanted[i]]);
      candidates.push_back(i);
    }
    const std::vector<bool> moved = movedEntries(earlier);
    std::vector<bool> staying(wanted.size(), false);
    for (std::size_t i = 0; i < candidates.size(); ++i) staying[candidates[i]] = !moved[i];
    return staying;
  }

  void moveFewest(std::uint32_t folder) {
    const auto& now = tree_.nodes[folder].children;
    const auto& wanted = target_.children[folder];
    const std::vector<bool> staying = stayingIn(folder);
    Waiting waiting(now.size());
    for (const std::uint32_t child : now) {
      if (isIn(child, folder)) waiting.add(places_[child]);
    }
    for (std::size_t i = 0; i < wanted.size(); ++i) {
      if (staying[i]) waiting.remove(places_[wanted[i]]);
    }
    // Each child goes right behind the one before it. Children still to be moved are among those that stay, so the last
    // of these determines how many of them are in front.
    std::optional<std::uint32_t> anchor;
    for (std::uint32_t i = 0; i < wanted.size(); ++i) {
      const std::uint32_t child = wanted[i];
      if (staying[i]) {
        anchor = places_[child];
        continue;
      }
      const bool isHere = isIn(child, folder);
      if (isHere) waiting.remove(places_[child]);
      const std::uint32_t index = i + (anchor ? waiting.countBefore(*anchor) : 0);
      const bool isDown = isHere && anchor && places_[child] < *anchor;
      plan_.push_back({OperationKind::kMove, child, folder, index, isDown, {}});
      hasLeft_[child] = true;
    }
  }

  const BrowserTree& tree_;
  const Target& target_;
  std::vector<Operation> plan_;
  /// Each node's place in its present folder.
  std::vector<std::uint32_t> places_;
  /// Whether a node has been moved from its old place.
  std::vector<bool> hasLeft_;
};

void appendOperation(std::string& json, const BrowserTree& tree, const Operation& operation) {
  constexpr const char* kNames[] = {"move", "create", "retitle", "remove"};
  json += "[\"";
  json += kNames[static_cast<std::size_t>(operation.kind)];
  json += "\",";
  appendJsonString(json, tree.nodes[operation.node].id);
  if (operation.parent != kNoNode) {
    json += ",";
    appendJsonString(json, tree.nodes[operation.parent].id);
    json += "," + std::to_string(operation.index);
  }
  if (operation.kind == OperationKind::kMove) json += operation.isDown ? ",true" : ",false";
  if (operation.kind == OperationKind::kCreate || operation.kind == OperationKind::kRetitle) {
    json += ",";
    appendJsonString(json, operation.title);
  }
  json += "]";
}

}  // namespace

std::vector<Operation> planFor(const BrowserTree& tree, const Target& target) { return Planner(tree, target).plan(); }

std::vector<std::string> operationsAsJson(const BrowserTree& tree, const std::vector<Operation>& plan,
                                          std::size_t most) {
  std::vector<std::string> pieces = {"["};
  std::string next;
  for (const Operation& operation : plan) {
    next.clear();
    appendOperation(next, tree, operation);
    if (pieces.back().size() > 1) {
      const bool isFull = pieces.back().size() + next.size() + 2 > most;
      pieces.back() += isFull ? "]" : ",";
      if (isFull) pieces.emplace_back("[");
    }
    pieces.back() += next;
  }
  pieces.back() += "]";
  return pieces;
}

}  // namespace tarvel
