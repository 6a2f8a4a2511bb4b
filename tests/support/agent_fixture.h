#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/browser_refresh.h"
#include "platform/path_components.h"
#include "tests/support/memory_agent.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

/// An agent in memory. Every write to the bookmarks folder posts an event.
struct AgentFixture : MemoryAgent {
  static constexpr const char* kFolder = "/home/user/Library/Safari";
  static constexpr const char* kFile = "/home/user/Library/Safari/Bookmarks.plist";
  static constexpr const char* kLock = "/home/user/Library/Safari/lock";
  static constexpr const char* kBackup = "/home/user/Library/Application Support/Tarvel/Bookmarks (Initial Copy).plist";
  static constexpr const char* kMain = "/A/Main.app";
  static constexpr const char* kUnsorted = "Root[ BookmarksBar[ x ] BookmarksMenu[ b a ] ]";
  static constexpr const char* kSorted = "Root[ BookmarksBar[ x ] BookmarksMenu[ a b ] ]";

  AgentFixture() {
    resetSortRetryCount();
    resetSafariVersionAnswer();
    memory.fileManager.setAfterHook([this](const FileCall& call) {
      switch (call.operation) {
        case FileOperation::kWrite:
        case FileOperation::kCopy:
        case FileOperation::kRemove:
        case FileOperation::kReplace:
        case FileOperation::kMove:
        case FileOperation::kExchange:
          eventStreams.post(deletingLastPathComponent(call.path));
          break;
        default:
          break;
      }
    });
  }

  [[nodiscard]] std::string bytesOf(std::string_view notation) {
    const PropertyListWriting writing =
        serialization.dataWithPropertyList(tree(notation), static_cast<std::uint32_t>(PropertyListFormat::kBinary));
    return writing.data.joined();
  }

  /// Saves a file in the folder, as the browser does.
  void save(std::string_view notation, const std::string& path = kFile) {
    memory.fileManager.putFile(path, bytesOf(notation));
    eventStreams.post(deletingLastPathComponent(path));
  }

  [[nodiscard]] std::string written() {
    return text(serialization.propertyListFromData(Data::copyOf(memory.fileManager.bytesAt(kFile).value_or(""))).list);
  }

  [[nodiscard]] std::size_t sorts() { return memory.fileManager.callCount(FileOperation::kRead); }
  [[nodiscard]] std::optional<std::int64_t> storedCode() {
    return preferences.appIntegerValue(kLastHelperErrorKey, kMainApplicationIdentifier);
  }
  [[nodiscard]] const std::vector<std::string>& log() const { return memory.systemLog.lines(); }
  [[nodiscard]] const std::vector<std::string>& launches() const { return memory.workspace.launches(); }

  /// Launches the agent beside an unsorted file.
  void launchWithFile() {
    save(kUnsorted);
    application.launch(delegate);
  }
};

}  // namespace tarvel
