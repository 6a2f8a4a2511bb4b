#pragma once

#include "platform/application.h"
#include "platform/bundle.h"
#include "platform/clock.h"
#include "platform/collator.h"
#include "platform/event_stream.h"
#include "platform/file_manager.h"
#include "platform/preferences_store.h"
#include "platform/property_list_serialization.h"
#include "platform/run_loop.h"
#include "platform/running_applications.h"
#include "platform/system_log.h"
#include "platform/updater.h"
#include "platform/uuid_source.h"
#include "platform/workspace.h"

namespace tarvel {

/// What sorting one file reaches, by reference. Owned by whoever built it, and outliving all that borrows this.
struct Platform {
  PropertyListSerialization& propertyLists;
  FileManager& fileManager;
  Collator& collator;
  UuidSource& uuidSource;
  SystemLog& systemLog;
  Bundle& bundle;
  Workspace& workspace;
  Clock& clock;
};

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
