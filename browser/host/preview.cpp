#include "browser/host/preview.h"

#include <tsl/robin_map.h>

#include "browser/host/json_strings.h"
#include "tools/compare/entry_text.h"
#include "tools/compare/fewest_moves.h"

namespace tarvel {

namespace {

class PreviewWriter {
 public:
  PreviewWriter(const BrowserTree& tree, const Target& target, std::size_t most)
      : tree_(tree), target_(target), most_(most) {
    for (const auto& [node, title] : target_.titles) titles_.emplace(node, title);
    for (const TakenOut& entry : target_.takenOut) takenOut_.emplace(entry.node, entry);
  }

  Preview write() {
    preview_.pieces.emplace_back("[");
    for (std::uint32_t i = 0; i < tree_.nodes.size(); ++i) {
      if (tree_.nodes[i].hasCorruptPositions) ++preview_.counts.repaired;
      if (tree_.nodes[i].kind == BrowserNodeKind::kFolder) writeFolder(i);
    }
    preview_.pieces.back() += "]";
    return std::move(preview_);
  }

 private:
  /// The new place of each child that moves.
  [[nodiscard]] tsl::robin_map<std::uint32_t, std::uint32_t> movesIn(std::uint32_t folder) const {
    tsl::robin_map<std::uint32_t, std::uint32_t> moves;
    const auto& now = tree_.nodes[folder].children;
    const auto& wanted = target_.children[folder];
    if (now == wanted) return moves;
    tsl::robin_map<std::uint32_t, std::uint32_t> places;
    for (std::uint32_t i = 0; i < now.size(); ++i) places.emplace(now[i], i);
    std::vector<std::uint32_t> earlier;
    std::vector<std::uint32_t> numbers;
    for (std::uint32_t i = 0; i < wanted.size(); ++i) {
      const auto place = places.find(wanted[i]);
      if (place == places.end()) continue;
      earlier.push_back(place->second);
      numbers.push_back(i);
    }
    const std::vector<bool> moved = movedEntries(earlier);
    for (std::size_t i = 0; i < numbers.size(); ++i) {
      if (moved[i]) moves.emplace(wanted[numbers[i]], numbers[i]);
    }
    return moves;
  }

  void writeFolder(std::uint32_t folder) {
    const auto moves = movesIn(folder);
    const auto& children = tree_.nodes[folder].children;
    isFolderOpen_ = false;
    for (std::uint32_t i = 0; i < children.size(); ++i) {
      std::string changes;
      if (const auto move = moves.find(children[i]); move != moves.end()) addMove(changes, i, move->second);
      addRemoval(changes, children[i]);
      addTitle(changes, children[i]);
      if (!changes.empty()) addEntry(folder, children[i], changes);
    }
    if (isFolderOpen_) preview_.pieces.back() += "]}";
  }

  void addMove(std::string& changes, std::uint32_t from, std::uint32_t to) {
    ++preview_.counts.moved;
    changes += "[\"moved\"," + std::to_string(from + 1) + "," + std::to_string(to + 1) + "]";
  }

  void addRemoval(std::string& changes, std::uint32_t node) {
    constexpr const char* kReasons[] = {"empty", "address", "duplicate"};
    const auto found = takenOut_.find(node);
    if (found == takenOut_.end()) return;
    ++preview_.counts.removed;
    changes += std::string(changes.empty() ? "" : ",") + "[\"removed\",\"" +
               kReasons[static_cast<std::size_t>(found->second.reason)] + "\"";
    if (const std::uint32_t survivor = found->second.survivor; survivor != kNoNode) {
      changes += ",";
      addText(changes, nameOf(survivor));
      changes += ",";
      addPath(changes, tree_.nodes[survivor].parent);
    }
    changes += "]";
  }

  void addTitle(std::string& changes, std::uint32_t node) {
    const auto found = titles_.find(node);
    if (found == titles_.end()) return;
    ++preview_.counts.renamed;
    const bool hadTitle = !tree_.nodes[node].title.empty();
    changes += std::string(changes.empty() ? "" : ",") + (hadTitle ? "[\"renamed\"," : "[\"named\",");
    addText(changes, found->second);
    changes += "]";
  }

  void addEntry(std::uint32_t folder, std::uint32_t node, const std::string& changes) {
    std::string entry = "{\"title\":";
    addText(entry, tree_.nodes[node].title);
    if (tree_.nodes[node].kind == BrowserNodeKind::kBookmark) {
      entry += ",\"url\":";
      addText(entry, tree_.nodes[node].address);
    }
    entry += ",\"changes\":[" + changes + "]}";
    std::string& last = preview_.pieces.back();
    // The entry, the head of its folder, and the closing brackets.
    if (last.size() > 1 && last.size() + entry.size() + kLongestHead > most_) {
      last += isFolderOpen_ ? "]}]" : "]";
      isFolderOpen_ = false;
      preview_.pieces.emplace_back("[");
    }
    openFolder(folder);
    preview_.pieces.back() += entry;
  }

  void openFolder(std::uint32_t folder) {
    std::string& piece = preview_.pieces.back();
    if (isFolderOpen_) {
      piece += ",";
      return;
    }
    isFolderOpen_ = true;
    piece += std::string(piece.size() > 1 ? "," : "") + "{\"number\":" + std::to_string(folder) + ",\"path\":";
    addPath(piece, folder);
    piece += ",\"entries\":[";
  }

  [[nodiscard]] std::string_view nameOf(std::uint32_t node) const {
    const auto title = titles_.find(node);
    if (title != titles_.end()) return title->second;
    return tree_.nodes[node].title.empty() ? tree_.nodes[node].address : tree_.nodes[node].title;
  }

  static void addText(std::string& json, std::string_view text) { appendJsonString(json, shortenedText(text)); }

  void addPath(std::string& json, std::uint32_t node) const {
    ShortenedPath path;
    while (node != kNoNode && path.add(shortenedText(tree_.nodes[node].title))) node = tree_.nodes[node].parent;
    json += "[";
    const std::vector<std::string> titles = path.titles();
    for (const std::string& title : titles) {
      if (&title != &titles.front()) json += ",";
      appendJsonString(json, title);
    }
    json += "]";
  }

  /// A path takes up to about 3000 bytes, and escapes make it at most six times as long.
  static constexpr std::size_t kLongestHead = 20000;

  const BrowserTree& tree_;
  const Target& target_;
  std::size_t most_;
  tsl::robin_map<std::uint32_t, std::string_view> titles_;
  tsl::robin_map<std::uint32_t, TakenOut> takenOut_;
  Preview preview_;
  /// Whether the current folder has been begun in the last piece.
  bool isFolderOpen_ = false;
};

}  // namespace

Preview previewOf(const BrowserTree& tree, const Target& target, std::size_t most) {
  return PreviewWriter(tree, target, most).write();
}

}  // namespace tarvel
