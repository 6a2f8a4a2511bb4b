// Two trees for programs.

#include <cstddef>
#include <nlohmann/json.hpp>

#include "tools/compare/difference_report.h"
#include "tools/compare/entry_tree.h"
#include "tools/report/json_text.h"

namespace tarvel {

namespace {

using Json = nlohmann::ordered_json;

Json titleOf(const TreeEntry& entry) { return entry.hasTitle ? Json(entry.title) : Json(); }

const char* kindName(EntryKind kind) {
  switch (kind) {
    case EntryKind::kFolder:
      return "folder";
    case EntryKind::kBookmark:
      return "bookmark";
    case EntryKind::kProxy:
      return "proxy";
    case EntryKind::kOther:
      break;
  }
  return "other";
}

Json entryAsJson(const EntryTree& tree, std::size_t index) {
  const TreeEntry& entry = tree[index];
  return {{"folder", folderOf(tree, index)},
          {"place", entry.place},
          {"kind", kindName(entry.kind)},
          {"title", titleOf(entry)},
          {"address", entry.address}};
}

/// Entries that are in both trees, and differ by `change`.
Json changedAsJson(const TreeComparison& comparison, EntryChange change) {
  Json entries = Json::array();
  for (std::size_t i = 1; i < comparison.after.size(); ++i) {
    const TreeEntry& entry = comparison.after[i];
    if ((entry.changes & change) == 0) continue;
    entries.push_back(
        {{"before", entryAsJson(comparison.before, entry.counterpart)}, {"after", entryAsJson(comparison.after, i)}});
  }
  return entries;
}

Json loneAsJson(const EntryTree& tree, EntryChange change) {
  Json entries = Json::array();
  for (std::size_t i = 1; i < tree.size(); ++i) {
    if ((tree[i].changes & change) != 0) entries.push_back(entryAsJson(tree, i));
  }
  return entries;
}

}  // namespace

std::string differenceAsJson(const DifferenceReport& report) {
  const TreeComparison& comparison = report.comparison;
  const Json json = {{"code", 0},
                     {"old", report.oldFile},
                     {"new", report.newFile},
                     {"same", isSame(comparison)},
                     {"moved", changedAsJson(comparison, kEntryMoved)},
                     {"removed", loneAsJson(comparison.before, kEntryRemoved)},
                     {"added", loneAsJson(comparison.after, kEntryAdded)},
                     {"renamed", changedAsJson(comparison, kEntryRenamed)},
                     {"named", changedAsJson(comparison, kEntryNamed)},
                     {"readdressed", changedAsJson(comparison, kEntryReaddressed)}};
  return jsonText(json);
}

std::string differenceFailureAsJson(const DifferenceReport& report, std::int32_t code, const std::string& message) {
  return jsonText({{"code", code}, {"message", message}, {"old", report.oldFile}, {"new", report.newFile}});
}

}  // namespace tarvel
