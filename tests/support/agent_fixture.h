#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "agent/app_delegate.h"
#include "agent/browser_refresh.h"
#include "platform/memory/memory_application.h"
#include "platform/memory/memory_bundles.h"
#include "platform/memory/memory_event_stream.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/memory/memory_running_applications.h"
#include "platform/memory/memory_updater.h"
#include "platform/path_components.h"
#include "platform/plist/serialization.h"
#include "settings/preference_keys.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

/// A user's machine in memory, with automatic sorting on and an agent that was not launched yet. What anybody writes
/// into the bookmarks folder becomes an event of it.
struct AgentFixture {
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
    preferences.setBoolean(kAutoSortModeKey, true, kMainApplicationIdentifier);
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

  // A stream holds its watcher until it is stopped, which an agent that still runs has not done.
  ~AgentFixture() { delegate.stopWatchingBookmarksFile(); }
  AgentFixture(const AgentFixture&) = delete;
  AgentFixture& operator=(const AgentFixture&) = delete;

  [[nodiscard]] std::string bytesOf(std::string_view notation) {
    const PropertyListWriting writing =
        serialization.dataWithPropertyList(tree(notation), static_cast<std::uint32_t>(PropertyListFormat::kBinary));
    return writing.data.joined();
  }

  /// The browser, or anybody, puts a file into the folder.
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

  /// A file to be sorted lies there, and the agent has been launched.
  void launchWithFile() {
    save(kUnsorted);
    application.launch(delegate);
  }

  PlistSerialization serialization;
  MemoryPlatform memory{serialization};
  MemoryRunLoop loop{memory.time};
  MemoryApplication application{loop};
  MemoryEventStreamService eventStreams{loop};
  MemoryPreferencesStore preferences;
  MemoryRunningApplications runningApplications;
  MemoryBundles bundles;
  MemoryUpdaters updaters{memory.time};
  AgentPlatform platform{memory.platform(), application,         loop,    eventStreams,
                         preferences,       runningApplications, bundles, updaters};
  AppDelegate delegate{platform};
};

}  // namespace tarvel
