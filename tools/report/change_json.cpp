// What differs between two trees, for programs.

#include "tools/report/change_json.h"

#include <cstddef>
#include <nlohmann/json.hpp>

#include "tools/compare/entry_tree.h"
#include "tools/terminal/answer.h"

namespace tarvel {

namespace {

using Json = Answer::Json;

struct Kind {
  const char* name;
  EntryChange change;
};

constexpr Kind kKinds[] = {{"moved", kEntryMoved},     {"removed", kEntryRemoved}, {"added", kEntryAdded},
                           {"renamed", kEntryRenamed}, {"named", kEntryNamed},     {"readdressed", kEntryReaddressed}};

Json orNull(bool isPresent, const std::string& text) { return isPresent ? Json(text) : Json(); }

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

Json reasonName(AbsenceReason reason) {
  switch (reason) {
    case AbsenceReason::kGone:
      return nullptr;
    case AbsenceReason::kEmptyFolder:
      return "empty-folder";
    case AbsenceReason::kNoAddress:
      return "no-address";
    case AbsenceReason::kDuplicate:
      return "duplicate";
    case AbsenceReason::kReplaced:
      return "replaced";
  }
  return nullptr;
}

Json entryAsJson(const EntryTree& tree, std::size_t index) {
  const TreeEntry& entry = tree[index];
  return {{"folder", folderOf(tree, index)},
          {"place", entry.place + 1},
          {"kind", kindName(entry.kind)},
          {"title", orNull(entry.hasTitle, entry.title)},
          {"address", orNull(!entry.address.empty(), entry.address)}};
}

/// An entry of both trees. Where a sort writes nothing, the later tree lacks the new title.
Json pairAsJson(const TreeComparison& comparison, std::size_t earlier, EntryChange change) {
  Json after = entryAsJson(comparison.after, comparison.before[earlier].counterpart);
  if (change == kEntryNamed || change == kEntryRenamed) {
    const bool hasTitle = !comparison.before[earlier].otherTitle.empty() || !after["title"].is_null();
    after["title"] = orNull(hasTitle, comparison.before[earlier].otherTitle);
  }
  return {{"before", entryAsJson(comparison.before, earlier)}, {"after", std::move(after)}};
}

Json removalAsJson(const TreeComparison& comparison, std::size_t entry) {
  const Removal& removal = comparison.removals[entry];
  Json json = entryAsJson(comparison.before, entry);
  json["reason"] = reasonName(removal.reason);
  json["kept"] = removal.kept == kNoEntry ? Json() : entryAsJson(comparison.after, removal.kept);
  return json;
}

Json listOf(const TreeComparison& comparison, EntryChange change) {
  Json list = Json::array();
  // An added entry is in the later tree only; everything else is marked in the earlier one.
  const EntryTree& tree = change == kEntryAdded ? comparison.after : comparison.before;
  for (std::size_t i = 1; i < tree.size(); ++i) {
    if ((tree[i].changes & change) == 0) continue;
    if (change == kEntryAdded) {
      list.push_back(entryAsJson(tree, i));
    } else if (change == kEntryRemoved) {
      list.push_back(removalAsJson(comparison, i));
    } else if (tree[i].counterpart != kNoEntry) {
      list.push_back(pairAsJson(comparison, i, change));
    }
  }
  return list;
}

}  // namespace

void setChanges(Answer& answer, const TreeComparison& comparison) {
  Json counts = Json::object();
  Json lists = Json::object();
  for (const Kind& kind : kKinds) {
    lists[kind.name] = listOf(comparison, kind.change);
    counts[kind.name] = lists[kind.name].size();
  }
  answer["counts"] = std::move(counts);
  for (const Kind& kind : kKinds) answer[kind.name] = std::move(lists[kind.name]);
}

}  // namespace tarvel
