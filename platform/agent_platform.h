#pragma once

#include "platform/application.h"
#include "platform/event_stream.h"
#include "platform/platform.h"
#include "platform/preferences_store.h"
#include "platform/run_loop.h"
#include "platform/running_applications.h"
#include "platform/updater.h"

namespace tarvel {

/// What a program that lives on as an application reaches besides: the command, which sorts once, builds none of it.
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
