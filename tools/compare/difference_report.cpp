// Two trees for people: what differs, line by line.

#include "tools/compare/difference_report.h"

#include <algorithm>
#include <cstddef>

#include "tools/compare/entry_tree.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

std::string quoted(std::string_view text) { return "“" + printable(text) + "”"; }

std::string folderName(const EntryTree& tree, std::size_t entry) {
  const std::vector<std::string> path = folderOf(tree, entry);
  if (path.empty()) return "the top level";
  std::string name;
  for (const std::string& title : path) name += (name.empty() ? "" : " / ") + printable(title);
  return name;
}

class DifferenceText {
 public:
  DifferenceText(const TreeComparison& comparison, const Painter& painter)
      : before_(comparison.before), after_(comparison.after), painter_(painter) {}

  std::string build() {
    for (std::size_t i = 1; i < before_.size(); ++i) {
      if ((before_[i].changes & kEntryRemoved) != 0) gone(before_, i, painter_.red("removed "), " from ");
    }
    for (std::size_t i = 1; i < after_.size(); ++i) {
      if ((after_[i].changes & kEntryAdded) != 0) gone(after_, i, painter_.green("added   "), " to ");
    }
    for (std::size_t i = 1; i < after_.size(); ++i) moved(i);
    for (std::size_t i = 1; i < after_.size(); ++i) retitled(i);
    for (std::size_t i = 1; i < after_.size(); ++i) readdressed(i);
    return text_;
  }

 private:
  void line(const std::string& text) { text_ += text + "\n"; }

  void gone(const EntryTree& tree, std::size_t entry, const std::string& word, const char* preposition) {
    const bool showsAddress = tree[entry].hasTitle && !tree[entry].address.empty();
    line(word + quoted(nameOf(tree[entry])) + (showsAddress ? " <" + printable(tree[entry].address) + ">" : "") +
         preposition + folderName(tree, entry));
  }

  void moved(std::size_t entry) {
    if ((after_[entry].changes & kEntryMoved) == 0) return;
    const std::size_t earlier = after_[entry].counterpart;
    const std::string subject = painter_.yellow("moved   ") + quoted(nameOf(after_[entry]));
    if (after_[after_[entry].parent].counterpart == before_[earlier].parent) {
      line(subject + " in " + folderName(after_, entry) + " " + movementWithin(before_[earlier], after_[entry]));
    } else {
      line(subject + " from " + folderName(before_, earlier) + " to " + folderName(after_, entry));
    }
  }

  void retitled(std::size_t entry) {
    const std::string where = " in " + folderName(after_, entry);
    if ((after_[entry].changes & kEntryNamed) != 0) {
      line(painter_.green("named   ") + quoted(after_[entry].title) + ", which had no title," + where);
    }
    if ((after_[entry].changes & kEntryRenamed) == 0) return;
    const std::string title = after_[entry].hasTitle ? quoted(after_[entry].title) : "no title";
    line(painter_.yellow("renamed ") + quoted(after_[entry].otherTitle) + " to " + title + where);
  }

  void readdressed(std::size_t entry) {
    if ((after_[entry].changes & kEntryReaddressed) == 0) return;
    line(painter_.yellow("address ") + "of " + quoted(nameOf(after_[entry])) + " in " + folderName(after_, entry) +
         ": <" + printable(after_[entry].otherAddress) + "> became <" + printable(after_[entry].address) + ">");
  }

  const EntryTree& before_;
  const EntryTree& after_;
  const Painter& painter_;
  std::string text_;
};

}  // namespace

bool isSame(const TreeComparison& comparison) {
  const auto isUnchanged = [](const TreeEntry& entry) { return entry.changes == 0; };
  return std::ranges::all_of(comparison.before, isUnchanged) && std::ranges::all_of(comparison.after, isUnchanged);
}

std::string summaryOf(const TreeComparison& comparison) {
  if (isSame(comparison))
    return "No difference: the same entries, with the same titles and addresses, in the same order.";
  const std::size_t moved = comparison.count(kEntryMoved);
  const std::size_t readdressed = comparison.count(kEntryReaddressed);
  return std::to_string(moved) + (moved == 1 ? " entry moved, " : " entries moved, ") +
         std::to_string(comparison.count(kEntryRemoved)) + " removed, " +
         std::to_string(comparison.count(kEntryAdded)) + " added, " + std::to_string(comparison.count(kEntryRenamed)) +
         " renamed, " + std::to_string(comparison.count(kEntryNamed)) + " named" +
         (readdressed == 0 ? "" : ", " + std::to_string(readdressed) + " with another address") + ".";
}

std::string differenceAsText(const DifferenceReport& report, const Painter& painter) {
  std::string text =
      "From " + quoted(report.oldFile) + " to " + quoted(report.newFile) + ":\n" + summaryOf(report.comparison) + "\n";
  if (isSame(report.comparison)) return text;
  return text + "\n" + DifferenceText(report.comparison, painter).build();
}

}  // namespace tarvel
