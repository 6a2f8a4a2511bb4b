// The trees of the page.

#include "tools/report/report_html_tree.h"

#include "tools/report/html_text.h"

namespace tarvel {

namespace {

/// Browsers nest elements some five hundred deep, and a folder takes three. Below this what is in a folder follows it.
constexpr std::size_t kDeepestNesting = 100;
/// Trees of up to this many entries are shown with every folder open, larger ones where something changed.
constexpr std::size_t kSmallTree = 300;

std::string nameOfFolder(const EntryTree& tree, std::size_t entry) {
  const std::vector<std::string> path = folderOf(tree, entry);
  if (path.empty()) return "the top level";
  std::string name;
  for (const std::string& title : path) name += (name.empty() ? "" : " / ") + isolated(title, "p");
  return name;
}

std::string quotedTitle(const std::string& title) { return "“" + isolated(title, "p") + "”"; }

std::size_t childCount(const EntryTree& tree, std::size_t folder) {
  std::size_t count = 0;
  for (std::size_t i = folder + 1; i < tree[folder].end; i = tree[i].end) ++count;
  return count;
}

}  // namespace

const char* wordFor(EntryChange change) {
  switch (change) {
    case kEntryMoved:
      return "moved";
    case kEntryRemoved:
      return "removed";
    case kEntryAdded:
      return "added";
    case kEntryRenamed:
      return "renamed";
    case kEntryNamed:
      return "named";
    case kEntryReaddressed:
      return "readdressed";
  }
  return "";
}

std::vector<EntryChange> allChanges() {
  return {kEntryRemoved, kEntryAdded, kEntryMoved, kEntryRenamed, kEntryNamed, kEntryReaddressed};
}

std::string changeClasses(const TreeEntry& entry) {
  std::string classes;
  if (entry.changes != 0) classes += " c";
  if (entry.changesBelow != 0) classes += " in-c";
  for (const EntryChange change : allChanges()) {
    if ((entry.changes & change) != 0) classes += std::string(" ") + wordFor(change);
    if ((entry.changesBelow & change) != 0) classes += std::string(" in-") + wordFor(change);
  }
  return classes;
}

HtmlTree::HtmlTree(const TreeComparison& comparison, Side side)
    : comparison_(comparison),
      side_(side),
      own_(side == Side::kBefore ? comparison.before : comparison.after),
      other_(side == Side::kBefore ? comparison.after : comparison.before),
      targets_(own_.size(), false) {
  for (const TreeEntry& entry : other_) {
    if (entry.changes != 0 && entry.counterpart != kNoEntry) targets_[entry.counterpart] = true;
  }
  if (side == Side::kBefore) return;
  for (const Removal& removal : comparison.removals) {
    if (removal.kept != kNoEntry) targets_[removal.kept] = true;
  }
}

std::string HtmlTree::build() {
  html_ = "<ul class=\"tree\" role=\"list\">\n";
  if (!own_.empty()) children(0, 0);
  html_ += "</ul>\n";
  return html_;
}

void HtmlTree::children(std::size_t index, std::size_t depth) {
  for (std::size_t i = index + 1; i < own_[index].end; i = own_[i].end) entry(i, depth);
}

void HtmlTree::entry(std::size_t index, std::size_t depth) {
  const bool hasContent = own_[index].end > index + 1;
  if (hasContent && depth < kDeepestNesting) {
    folder(index, depth);
    return;
  }
  beginRow(index, hasContent);
  label(index, true);
  if (hasContent) html_ += " <span class=\"what\">folder; what is in it follows here</span>";
  html_ += "</li>\n";
  if (hasContent) children(index, depth);
}

void HtmlTree::folder(std::size_t index, std::size_t depth) {
  beginRow(index, false);
  html_ += isOpen(index) ? "<details open><summary>" : "<details><summary>";
  // A summary is itself something to press, so nothing in it is.
  label(index, false);
  html_ += "</summary>\n<ul role=\"list\">\n";
  children(index, depth + 1);
  html_ += "</ul></details></li>\n";
}

void HtmlTree::beginRow(std::size_t index, bool isFlat) {
  const TreeEntry& entry = own_[index];
  std::string classes = entry.kind == EntryKind::kFolder ? "folder" : "";
  if (isFlat) classes += " flat";
  classes += changeClasses(entry);
  html_ += "<li";
  if (targets_[index])
    html_ += std::string(" id=\"") + (side_ == Side::kBefore ? "b" : "a") + std::to_string(index) + "\"";
  if (!classes.empty()) html_ += " class=\"" + classes.substr(classes.front() == ' ' ? 1 : 0) + "\"";
  html_ += ">";
}

void HtmlTree::label(std::size_t index, bool mayLink) {
  const TreeEntry& entry = own_[index];
  html_ +=
      entry.hasTitle && !entry.title.empty() ? isolated(entry.title, "t") : "<i class=\"t untitled\">(no title)</i>";
  if (entry.kind == EntryKind::kFolder) {
    html_ += " <span class=\"n\" aria-label=\"" + std::to_string(childCount(own_, index)) + " entries\">" +
             std::to_string(childCount(own_, index)) + "</span>";
  } else if (entry.kind != EntryKind::kBookmark) {
    html_ += entry.kind == EntryKind::kProxy ? " <span class=\"what\">filled by the browser</span>"
                                             : " <span class=\"what\">of no known kind</span>";
  }
  for (const EntryChange kind : allChanges()) {
    if ((entry.changes & kind) != 0) change(index, kind, mayLink);
  }
  // An address reads from left to right, whatever letters it begins with.
  if (!entry.address.empty()) html_ += "<bdi class=\"u\" dir=\"ltr\">" + htmlText(entry.address) + "</bdi>";
}

void HtmlTree::change(std::size_t index, EntryChange change, bool mayLink) {
  const TreeEntry& entry = own_[index];
  const std::string classes = std::string("class=\"k k-") + wordFor(change) + "\"";
  const char* word = change == kEntryReaddressed ? "address changed" : wordFor(change);
  if (mayLink && entry.counterpart != kNoEntry) {
    const bool isBefore = side_ == Side::kBefore;
    html_ += " <a " + classes + " href=\"#" + (isBefore ? "a" : "b") + std::to_string(entry.counterpart) + "\">" +
             word + "</a>";
  } else {
    html_ += " <span " + classes + ">" + word + "</span>";
  }
  const std::string why = explanation(index, change, mayLink);
  if (!why.empty()) html_ += " <span class=\"why\">" + why + "</span>";
}

std::string HtmlTree::explanation(std::size_t index, EntryChange change, bool mayLink) const {
  const TreeEntry& entry = own_[index];
  const bool isBefore = side_ == Side::kBefore;
  switch (change) {
    case kEntryMoved:
      return movement(index);
    case kEntryRemoved:
      return absence(index, mayLink);
    case kEntryAdded:
      return "";
    case kEntryRenamed:
      return (isBefore ? "to " : "was ") + (entry.otherTitle.empty() ? "no title" : quotedTitle(entry.otherTitle));
    case kEntryNamed:
      return isBefore ? "to be " + quotedTitle(entry.otherTitle) : "had no title";
    case kEntryReaddressed:
      return (isBefore ? "to " : "was ") + (entry.otherAddress.empty() ? "none" : quotedTitle(entry.otherAddress));
  }
  return "";
}

std::string HtmlTree::movement(std::size_t index) const {
  const bool isBefore = side_ == Side::kBefore;
  const TreeEntry& own = own_[index];
  const TreeEntry& there = other_[own.counterpart];
  if (other_[there.parent].counterpart == own.parent) {
    return isBefore ? movementWithin(own, there) : movementWithin(there, own);
  }
  return (isBefore ? "to " : "from ") + nameOfFolder(other_, own.counterpart);
}

std::string HtmlTree::absence(std::size_t index, bool mayLink) const {
  const Removal& removal = comparison_.removals[index];
  switch (removal.reason) {
    case AbsenceReason::kGone:
      return "";
    case AbsenceReason::kEmptyFolder:
      return "empty folder";
    case AbsenceReason::kNoAddress:
      return "no address";
    case AbsenceReason::kReplaced:
      return "the first top-level folder of this name takes its place";
    case AbsenceReason::kDuplicate:
      break;
  }
  if (removal.kept == kNoEntry) return "same address as another bookmark";
  const TreeEntry& kept = comparison_.after[removal.kept];
  const std::string title = quotedTitle(nameOf(kept));
  const std::string link = "<a href=\"#a" + std::to_string(removal.kept) + "\">" + title + "</a>";
  return "same address as " + (mayLink ? link : title) + " in " + nameOfFolder(comparison_.after, removal.kept);
}

bool HtmlTree::isOpen(std::size_t index) const { return own_.size() <= kSmallTree || own_[index].changesBelow != 0; }

}  // namespace tarvel
