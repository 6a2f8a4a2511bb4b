#pragma once

#include "agent/app_delegate.h"
#include "platform/memory/memory_application.h"
#include "platform/memory/memory_bundles.h"
#include "platform/memory/memory_event_stream.h"
#include "platform/memory/memory_platform.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/memory/memory_running_applications.h"
#include "platform/memory/memory_updater.h"
#include "platform/plist/serialization.h"
#include "settings/preference_keys.h"
#include "tests/support/real_files.h"

namespace tarvel {

/// The agent's delegate on the memory platform, not launched yet, with automatic sorting on.
struct MemoryAgent {
  MemoryAgent() { preferences.setBoolean(kAutoSortModeKey, true, kMainApplicationIdentifier); }
  /// With real files.
  explicit MemoryAgent(FileManager& files) : sorting(withFiles(memory.platform(), files)) {
    preferences.setBoolean(kAutoSortModeKey, true, kMainApplicationIdentifier);
  }

  // A stream keeps its watcher until it is stopped, which an agent that still runs has not done.
  ~MemoryAgent() { delegate.stopWatchingBookmarksFile(); }
  MemoryAgent(const MemoryAgent&) = delete;
  MemoryAgent& operator=(const MemoryAgent&) = delete;

  PlistSerialization serialization;
  MemoryPlatform memory{serialization};
  MemoryRunLoop loop{memory.time};
  MemoryApplication application{loop};
  MemoryEventStreamService eventStreams{loop};
  MemoryPreferencesStore preferences;
  MemoryRunningApplications runningApplications;
  MemoryBundles bundles;
  MemoryUpdaters updaters{memory.time};
  Platform sorting{memory.platform()};
  AgentPlatform platform{sorting, application, loop, eventStreams, preferences, runningApplications, bundles, updaters};
  AppDelegate delegate{platform};
};

}  // namespace tarvel
