// Other programs that write the files of an AgentWorld, and the checks afterwards.

#include <gtest/gtest.h>

#include <cerrno>

#include "settings/preference_keys.h"
#include "tests/agent/agent_world.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

namespace {

constexpr const char* kNeighbour = "/home/user/Library/Safari/History.plist";

}  // namespace

// Other programs.

void AgentWorld::post() {
  if (process_) process_->eventStreams.post(kFolder);
}

void AgentWorld::fileChanged() {
  ++changes_;
  post();
}

void AgentWorld::save(const std::string& bytes, Content content) {
  state() = {content, bytes, true, {}};
  if (content == Content::kBookmarks) judge(state());
  memory_.fileManager.putFile(path_, bytes);
  fileChanged();
}

void AgentWorld::touch() {
  if (state().content == Content::kNothing) return;
  const FileState same = state();
  save(same.bytes, same.content);
}

void AgentWorld::remove() {
  if (state().content == Content::kNothing) return;
  state() = {};
  memory_.fileManager.removeTree(path_);
  fileChanged();
}

void AgentWorld::setLocked(bool isLocked) {
  if (isLocked) {
    memory_.fileManager.putFile(kLock, "");
  } else {
    memory_.fileManager.removeTree(kLock);
  }
  post();
}

void AgentWorld::writeNeighbour() {
  memory_.fileManager.putFile(kNeighbour, "x");
  post();
}

void AgentWorld::removeBackup() {
  memory_.fileManager.removeTree(kBackup);
  backup_.reset();
}

void AgentWorld::failNextWrite() {
  isWriteToFail_ = true;
  memory_.fileManager.failNext(FileOperation::kWrite, ENOSPC);
}

void AgentWorld::failNextBackup() { memory_.fileManager.failNext(FileOperation::kCopy, EIO); }

void AgentWorld::setOption(const char* key, bool value) {
  preferences_.setBoolean(key, value, kMainApplicationIdentifier);
  changesToIgnore_ = changes_;
  if (state().content == Content::kBookmarks) judge(state());
}

void AgentWorld::setLatency(std::int64_t seconds) {
  preferences_.setInteger(kBookmarksUpdateLatencyKey, seconds, kMainApplicationIdentifier);
}

void AgentWorld::setFileNamed(const std::string& name) {
  path_ = std::string(kFolder) + "/" + name;
  preferences_.setString(kBookmarksFilenameKey, path_, kMainApplicationIdentifier);
  if (state().content == Content::kBookmarks) judge(state());
  // The agent recorded the date of another file, so any event triggers a sort of this one.
  changesToIgnore_ = ++changes_;
}

// Observations.

std::string AgentWorld::bytesOf(std::string_view notation) {
  const PropertyListWriting writing =
      serialization_.dataWithPropertyList(tree(notation), static_cast<std::uint32_t>(PropertyListFormat::kBinary));
  return writing.data.joined();
}

void AgentWorld::judge(FileState& file) {
  const auto option = [this](const char* key, bool byDefault) {
    return preferences_.appBooleanValue(key, kMainApplicationIdentifier).value_or(byDefault);
  };
  Tarvel tarvel(sorting_);
  tarvel.setArrangeFoldersAtTop(option(kFoldersAtTopKey, kFoldersAtTopDefault));
  tarvel.setRemoveDuplicates(option(kRemoveDuplicatesKey, kRemoveDuplicatesDefault));
  tarvel.setRenameSamenamed(option(kRenameSamenamedKey, kRenameSamenamedDefault));
  tarvel.setSortBookmarksBar(option(kSortBookmarksBarKey, kSortBookmarksBarDefault));
  const PropertyList list = serialization_.propertyListFromData(Data::copyOf(file.bytes)).list;
  bool didSort = true;
  const PropertyListDictionary root =
      tarvel.sortBookmarksWithRootDictionaryAndDidSortFlag(list.root.dictionary(), &didSort);
  file.isInOrder = !didSort;
  file.expected = didSort ? text(root) : std::string();
}

bool AgentWorld::isInOrder(const std::string& bytes) {
  FileState file{Content::kBookmarks, bytes, true, {}};
  judge(file);
  return file.isInOrder;
}

void AgentWorld::expectQuiet() {
  ASSERT_TRUE(process_);
  EXPECT_EQ(process_->loop.pendingRequestCount(), 0U);
  EXPECT_EQ(process_->eventStreams.streamCount(), 1U);
  EXPECT_EQ(sortRetryCount(), 0U);
  EXPECT_EQ(reportedCode(), std::nullopt);
  EXPECT_EQ(memory_.workspace.launches().size(), 0U);
  EXPECT_EQ(bytesNow().value_or(""), state().bytes);
  EXPECT_EQ(memory_.fileManager.bytesAt(kBackup), backup_);
  if (!isToBeInOrder()) return;
  EXPECT_EQ(state().content, Content::kBookmarks) << "unusable, and not reported";
  EXPECT_TRUE(state().isInOrder) << "a change was missed";
}

void AgentWorld::forget() {
  memory_.fileManager.forgetCalls();
  memory_.workspace.forget();
  memory_.systemLog.forgetLines();
  memory_.clock.forgetSleeps();
  if (process_) process_->eventStreams.forgetCalls();
}

}  // namespace tarvel
