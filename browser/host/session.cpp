#include "browser/host/session.h"

#include <xxhash.h>

#include <algorithm>

#include "browser/host/json_strings.h"
#include "browser/host/preview.h"
#include "browser/host/removed_title.h"
#include "settings/preference_keys.h"
#include "tools/terminal/local_time.h"

namespace tarvel {

namespace {

/// Bytes kept free for the rest of a message around its piece.
constexpr std::size_t kEnvelope = 1024;
constexpr std::size_t kLongestProfile = 100;
/// Of "YYYY-MM-DD hh:mm:ss".
constexpr std::size_t kDayLength = 10;

const char* wordOf(bool value) { return value ? "true" : "false"; }

/// Identifies a plan: the same operations give the same text.
std::string digestOf(const std::vector<std::string>& operations) {
  XXH64_hash_t digest = 0;
  for (const std::string& piece : operations) digest = XXH3_64bits_withSeed(piece.data(), piece.size(), digest);
  return std::to_string(digest);
}

}  // namespace

bool BrowserSession::answer(std::string& message) {
  std::optional<Request> request = readRequest(message);
  // Frees its memory for the plan.
  std::string().swap(message);
  if (!request) {
    (void)sendError("malformed", "The message cannot be read.");
    return false;
  }
  switch (request->type) {
    case RequestType::kHello:
      return hello(*request);
    case RequestType::kPlan:
      return plan(*request);
    case RequestType::kDone:
      return done();
    case RequestType::kSet:
      return set(*request);
    case RequestType::kUnknown:
      break;
  }
  return sendError("unknown", "The type of the message is unknown.");
}

bool BrowserSession::sendError(std::string_view code, std::string_view text) {
  std::string json = "{\"type\":\"error\",\"code\":";
  appendJsonString(json, code);
  json += ",\"text\":";
  appendJsonString(json, text);
  return send_(json + "}");
}

bool BrowserSession::hello(const Request& request) {
  std::string json =
      "{\"type\":\"hello\",\"protocol\":" + std::to_string(kProtocolVersion) + ",\"version\":\"" TARVEL_VERSION "\"";
  // An extension of another version needs only this to report the difference.
  if (request.protocol != kProtocolVersion) {
    (void)send_(json + "}");
    return false;
  }
  if (request.profile.empty() || request.profile.size() > kLongestProfile) {
    return sendError("malformed", "The greeting has no valid profile.");
  }
  records_.emplace(platform_.fileManager, platform_.propertyLists, recordsFolder_, request.profile);
  const auto automatic = preferences_.appBooleanValue(kAutoSortBrowsersKey, kMainApplicationIdentifier);
  const auto latency = preferences_.appIntegerValue(kBookmarksUpdateLatencyKey, kMainApplicationIdentifier);
  json += std::string(",\"automatic\":") + wordOf(automatic.value_or(kAutoSortBrowsersDefault)) + ",\"latency\":" +
          std::to_string(std::clamp(latency.value_or(kBookmarksUpdateLatencyDefault), kBookmarksUpdateLatencyLeast,
                                    kBookmarksUpdateLatencyMost));
  const std::vector<std::string> names = records_->names();
  json += ",\"runs\":" + std::to_string(names.size());
  if (!names.empty()) {
    if (const auto record = records_->read(names.front()).record) {
      json += ",\"last\":";
      appendJsonString(json, record->date);
    }
  }
  return send_(json + "}");
}

bool BrowserSession::set(const Request& request) {
  if (!request.automatic) return sendError("malformed", "The message sets nothing.");
  const auto tree = std::make_shared<PropertyListTree>();
  preferences_.setAppValue(kAutoSortBrowsersKey, {tree, tree->makeBoolean(*request.automatic)},
                           kMainApplicationIdentifier);
  if (!preferences_.appSynchronize(kMainApplicationIdentifier)) {
    return sendError("settings", "The settings could not be written.");
  }
  return send_(std::string("{\"type\":\"ok\"}"));
}

void BrowserSession::configure(Tarvel& tarvel) {
  const auto rule = [this](const char* key, bool byDefault) {
    return preferences_.appBooleanValue(key, kMainApplicationIdentifier).value_or(byDefault);
  };
  tarvel.setArrangeFoldersAtTop(rule(kFoldersAtTopKey, kFoldersAtTopDefault));
  tarvel.setRemoveDuplicates(rule(kRemoveDuplicatesKey, kRemoveDuplicatesDefault));
  tarvel.setRenameSamenamed(rule(kRenameSamenamedKey, kRenameSamenamedDefault));
  tarvel.setSortBookmarksBar(rule(kSortBookmarksBarKey, kSortBookmarksBarDefault));
}

std::string BrowserSession::now() { return localTimeText(platform_.clock.wallClock()); }

bool BrowserSession::plan(Request& request) {
  if (!records_) return sendError("malformed", "The greeting is missing.");
  if (!request.tree || !request.task) return sendError("malformed", "A plan needs a task and a tree.");
  BrowserTree& tree = *request.tree;
  if (tree.rootOfRemoved() == kNoNode) return sendError("malformed", "The tree has no root that can be sorted.");
  if (*request.task == Task::kUndo) return undo(tree);
  std::optional<DataPieces> record;
  if (!request.isPreview && !isRecorded_) {
    record = records_->recordOf(tree, *request.task, now());
    if (!record) return sendError("record", "The undo record could not be made.");
  }
  Tarvel tarvel(platform_);
  configure(tarvel);
  const Target target = *request.task == Task::kClean
                            ? cleanedTarget(tree, tarvel, titleOfRemoved(request.language, now().substr(0, kDayLength)))
                            : sortedTarget(tree, tarvel);
  const std::vector<Operation> plan = planFor(tree, target);
  const std::string digest = digestOf(operationsAsJson(tree, plan, kLongestReply - kEnvelope));
  if (request.isPreview) {
    const Preview preview = previewOf(tree, target, kLongestReply - kEnvelope);
    return sendPieces("changes", preview.pieces,
                      ",\"moved\":" + std::to_string(preview.counts.moved) +
                          ",\"removed\":" + std::to_string(preview.counts.removed) +
                          ",\"renamed\":" + std::to_string(preview.counts.renamed) +
                          ",\"repaired\":" + std::to_string(preview.counts.repaired) +
                          ",\"steps\":" + std::to_string(plan.size()) + ",\"agreed\":\"" + digest + "\"");
  }
  if (!request.agreed.empty() && request.agreed != digest) {
    return sendError("changed", "The bookmarks have changed since the preview.");
  }
  if (!plan.empty() && record) {
    const FileStatus added = records_->add(*record);
    if (!added.ok()) return sendError("record", added.reason);
    isRecorded_ = true;
  }
  return sendPlan(tree, plan);
}

bool BrowserSession::undo(const BrowserTree& tree) {
  // A repeated plan is for the same run, also if nothing of it is left to undo.
  const bool isRepeated = !undoing_.empty();
  for (const std::string& name : isRepeated ? std::vector<std::string>{undoing_} : records_->names()) {
    const RunRecordReading reading = records_->read(name);
    // An older record would take back more than the user asked for.
    if (reading.isDamaged) records_->setAside(name);
    if (!reading.problem.empty()) return sendError("unreadable", reading.problem);
    const std::optional<RunRecord>& record = reading.record;
    if (!record) continue;
    const auto scope = record->task == kCleanTaskName ? RestoredScope::kEverything : RestoredScope::kOrder;
    const std::vector<Operation> plan = planFor(tree, restoredTarget(tree, record->roots, scope));
    if (!plan.empty() || isRepeated) {
      undoing_ = name;
      return sendPlan(tree, plan);
    }
    // The bookmarks are as before that run: it never began, or its undo was killed after the last operation.
    records_->remove(name);
  }
  return sendPlan(tree, {});
}

bool BrowserSession::done() {
  if (records_ && !undoing_.empty()) records_->remove(undoing_);
  undoing_.clear();
  return send_(std::string("{\"type\":\"ok\"}"));
}

bool BrowserSession::sendPieces(std::string_view type, const std::vector<std::string>& pieces,
                                const std::string& atTheEnd) {
  for (const std::string& piece : pieces) {
    std::string json = "{\"type\":\"";
    json += type;
    json += "\",\"list\":" + piece;
    json += &piece == &pieces.back() ? ",\"last\":true" + atTheEnd + "}" : ",\"last\":false}";
    if (!send_(json)) return false;
  }
  return true;
}

bool BrowserSession::sendPlan(const BrowserTree& tree, const std::vector<Operation>& plan) {
  return sendPieces("operations", operationsAsJson(tree, plan, kLongestReply - kEnvelope), {});
}

}  // namespace tarvel
