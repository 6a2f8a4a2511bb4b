#pragma once

#include "platform/application.h"
#include "platform/event_stream.h"
#include "platform/platform.h"
#include "platform/preferences_store.h"
#include "platform/run_loop.h"
#include "platform/running_applications.h"
#include "platform/updater.h"

namespace tarvel {

/// The services that a long-running agent needs in addition to Platform. The command builds none of them.
struct AgentPlatform {
  Platform sorting;
  Application& application;
  RunLoop& runLoop;
  EventStreamService& eventStreams;
  PreferencesStore& preferences;
  RunningApplications& runningApplications;
  Bundles& bundles;
  Updaters& updaters;
};

}  // namespace tarvel
