#include <nlohmann/json.hpp>

#include "tools/report/json_text.h"
#include "tools/report/report.h"

namespace tarvel {

namespace {

using Json = nlohmann::ordered_json;

const char* reasonName(RemovalReason reason) {
  switch (reason) {
    case RemovalReason::kEmptyFolder:
      return "empty-folder";
    case RemovalReason::kNoAddress:
      return "no-address";
    case RemovalReason::kDuplicate:
      return "duplicate";
  }
  return "";
}

Json orderedAsJson(const OrderedFolder& folder) {
  Json entries = Json::array();
  for (const OrderedEntry& entry : folder.entries) {
    entries.push_back({{"title", entry.title}, {"was", entry.earlierPosition}, {"moved", entry.isMoved}});
  }
  return {{"folder", folder.folder}, {"movedCount", folder.movedCount}, {"entries", std::move(entries)}};
}

Json removedAsJson(const RemovedEntry& entry) {
  Json json = {{"folder", entry.folder},
               {"title", entry.title},
               {"address", entry.address},
               {"reason", entry.isReplaced ? "replaced" : reasonName(entry.reason)}};
  if (!entry.isReplaced && entry.reason == RemovalReason::kDuplicate) {
    json["kept"] = {{"folder", entry.keptFolder}, {"title", entry.keptTitle}};
  }
  return json;
}

}  // namespace

std::string reportAsJson(const SortReport& report) {
  const Changes& changes = report.changes;
  Json json = {{"code", report.code},
               {"message", report.message},
               {"file", report.file},
               {"backupFile", report.backupFile.empty() ? Json() : Json(report.backupFile)},
               {"preview", report.isPreview},
               {"settings", Json::object()},
               {"orderChanged", changes.isOrderChanged},
               {"written", report.code == 0 && changes.isOrderChanged && !report.isPreview},
               {"movedCount", changes.movedCount()},
               {"ordered", Json::array()},
               {"removed", Json::array()},
               {"renamed", Json::array()},
               {"named", Json::array()}};
  for (const NamedSetting& setting : report.settings) json["settings"][setting.key] = setting.value;
  for (const OrderedFolder& folder : changes.ordered) json["ordered"].push_back(orderedAsJson(folder));
  for (const RemovedEntry& entry : changes.removed) json["removed"].push_back(removedAsJson(entry));
  for (const RenamedEntry& entry : changes.renamed) {
    json["renamed"].push_back({{"folder", entry.folder}, {"before", entry.before}, {"after", entry.after}});
  }
  for (const NamedEntry& entry : changes.named) {
    json["named"].push_back({{"folder", entry.folder}, {"title", entry.title}});
  }
  return jsonText(json);
}

}  // namespace tarvel
