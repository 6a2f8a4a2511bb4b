// What differs between two trees, for people.

#include "tools/report/change_text.h"

#include <algorithm>
#include <vector>

#include "tools/terminal/text.h"

namespace tarvel {

namespace {

std::string nameOf(const FolderPath& folder) {
  if (folder.empty()) return "the top level";
  std::string name;
  for (const std::string& title : folder) name += (name.empty() ? "" : " / ") + printable(title);
  return name;
}

std::string joined(const std::vector<std::string>& parts, const char* lastSeparator) {
  std::string text;
  for (std::size_t i = 0; i < parts.size(); ++i) {
    text += (i == 0 ? "" : i + 1 == parts.size() ? lastSeparator : ", ") + parts[i];
  }
  return text;
}

std::string reasonFor(const RemovedEntry& entry) {
  switch (entry.reason) {
    case AbsenceReason::kGone:
      return {};
    case AbsenceReason::kEmptyFolder:
      return ": empty folder";
    case AbsenceReason::kNoAddress:
      return ": no address";
    case AbsenceReason::kReplaced:
      return entry.folder.empty() ? ": the first top-level folder of this name takes its place"
                                  : ": in a top-level folder that the first one of its name replaces";
    case AbsenceReason::kDuplicate:
      return entry.keptTitle.empty() && entry.keptFolder.empty()
                 ? ": same address as another bookmark"
                 : ": same address as " + quotedText(entry.keptTitle) + " in " + nameOf(entry.keptFolder);
  }
  return {};
}

std::string withAddress(const std::string& title, const std::string& address) {
  return quotedText(title) + (address.empty() ? "" : " <" + printable(address) + ">");
}

std::string movement(const OrderedEntry& entry) {
  if (entry.isFromElsewhere) return "from " + nameOf(entry.earlierFolder);
  const std::string was = "was " + std::to_string(entry.earlierPlace);
  return entry.earlierPlace == entry.place ? was + ", others moved past it" : was;
}

class OtherChanges {
 public:
  OtherChanges(const Changes& changes, const Painter& painter) : changes_(changes), painter_(painter) {}

  std::string build() {
    for (const RemovedEntry& entry : changes_.removed) {
      line(painter_.red("removed ") + withAddress(entry.title, entry.address) + " from " + nameOf(entry.folder) +
           reasonFor(entry));
    }
    missing(changes_.removed.size(), changes_.removedCount, "removed");
    for (const AddedEntry& entry : changes_.added) {
      line(painter_.green("added   ") + withAddress(entry.title, entry.address) + " to " + nameOf(entry.folder));
    }
    for (const RenamedEntry& entry : changes_.renamed) {
      line(painter_.yellow("renamed ") + quotedText(entry.before) + " to " +
           (entry.after.empty() ? "no title" : quotedText(entry.after)) + " in " + nameOf(entry.folder));
    }
    missing(changes_.renamed.size(), changes_.renamedCount, "renamed");
    for (const NamedEntry& entry : changes_.named) {
      line(painter_.green("named   ") + quotedText(entry.title) + ", which had no title, in " + nameOf(entry.folder));
    }
    missing(changes_.named.size(), changes_.namedCount, "named");
    for (const ReaddressedEntry& entry : changes_.readdressed) {
      line(painter_.yellow("address ") + "of " + quotedText(entry.title) + " in " + nameOf(entry.folder) + ": <" +
           printable(entry.before) + "> became <" + printable(entry.after) + ">");
    }
    return text_;
  }

 private:
  void line(const std::string& text) { text_ += text + "\n"; }

  void missing(std::size_t listed, std::size_t count, const char* word) {
    if (listed < count) line("... and " + std::to_string(count - listed) + " more " + word);
  }

  const Changes& changes_;
  const Painter& painter_;
  std::string text_;
};

}  // namespace

std::string summaryOf(const Changes& changes) {
  std::vector<std::string> parts;
  const auto add = [&parts](std::size_t count, const std::string& what) {
    if (count == 0) return;
    parts.push_back(parts.empty() ? counted(count, "entry", "entries") + " " + what
                                  : std::to_string(count) + " " + what);
  };
  add(changes.movedCount, "moved in " + counted(changes.folderCount, "folder", "folders"));
  add(changes.removedCount, "removed");
  add(changes.addedCount, "added");
  add(changes.renamedCount, "renamed");
  add(changes.namedCount, "named");
  add(changes.readdressedCount, "with another address");
  return parts.empty() ? std::string() : joined(parts, ", ") + ".";
}

std::string waitingSummaryOf(const Changes& changes) {
  std::vector<std::string> parts;
  const std::size_t titles = changes.renamedCount + changes.namedCount;
  if (changes.removedCount != 0) parts.push_back(counted(changes.removedCount, "removal", "removals"));
  if (titles != 0) parts.push_back(counted(titles, "new title", "new titles"));
  if (parts.empty()) return {};
  const bool isOne = changes.removedCount + titles == 1;
  return joined(parts, " and ") + (isOne ? " waits" : " wait") + " for the next change of order.";
}

std::string movesAsText(const Changes& changes, const Painter& painter) {
  std::string text;
  for (const OrderedFolder& folder : changes.ordered) {
    text += "\n" + painter.bold("Order of " + nameOf(folder.folder)) + " " +
            painter.dim("(" + counted(folder.movedCount, "entry moves", "entries move") + ")") + "\n";
    for (const OrderedEntry& entry : folder.entries) {
      const std::string number = std::to_string(entry.place);
      const std::string padding(number.size() < 4 ? 4 - number.size() : 0, ' ');
      const std::string place = padding + number + "  " + printable(entry.title.empty() ? "(no title)" : entry.title);
      text += entry.isMoved ? painter.yellow("* " + place) + painter.dim(" (" + movement(entry) + ")") : "  " + place;
      text += "\n";
    }
  }
  return text;
}

std::string otherChangesAsText(const Changes& changes, const Painter& painter) {
  return OtherChanges(changes, painter).build();
}

}  // namespace tarvel
