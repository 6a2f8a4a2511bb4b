// agent_sort FILE: one life of the agent's delegate, with real files and everything else in memory, in virtual time: it
// is launched, told of a change of the file, sorts after the latency and tries again as often as it would. For tracing:
// the real agent would wait for seconds.

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>

#include "agent/app_delegate.h"
#include "platform/linux/files/linux_file_manager.h"
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

namespace {

void sortOnce(const char* file) {
  using namespace tarvel;
  PlistSerialization serialization;
  LinuxFileManager files;
  MemoryPlatform memory{serialization};
  MemoryRunLoop loop{memory.time};
  MemoryApplication application{loop};
  MemoryEventStreamService eventStreams{loop};
  MemoryPreferencesStore preferences;
  MemoryRunningApplications runningApplications;
  MemoryBundles bundles;
  MemoryUpdaters updaters{memory.time};
  preferences.setBoolean(kAutoSortModeKey, true, kMainApplicationIdentifier);
  preferences.setString(kBookmarksFilenameKey, file, kMainApplicationIdentifier);
  const Platform base = memory.platform();
  const Platform sorting{base.propertyLists, files,       base.collator,  base.uuidSource,
                         base.systemLog,     base.bundle, base.workspace, base.clock};
  AgentPlatform platform{sorting, application, loop, eventStreams, preferences, runningApplications, bundles, updaters};
  AppDelegate delegate{platform};
  application.launch(delegate);
  // The change that it is told of.
  (void)::utimensat(AT_FDCWD, file, nullptr, 0);
  eventStreams.post(deletingLastPathComponent(file));
  loop.advanceBy(std::chrono::minutes(10));
  delegate.stopWatchingBookmarksFile();
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 64;
  sortOnce(arguments[1]);
  return 0;
}
