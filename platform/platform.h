#pragma once

#include "platform/bundle.h"
#include "platform/clock.h"
#include "platform/collator.h"
#include "platform/file_manager.h"
#include "platform/property_list_serialization.h"
#include "platform/system_log.h"
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

}  // namespace tarvel
