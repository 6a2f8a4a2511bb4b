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
  PropertyListSerialization& propertyLists;  ///< Reads and writes property lists.
  FileManager& fileManager;                  ///< The files.
  Collator& collator;                        ///< The order of titles.
  UuidSource& uuidSource;                    ///< New identifiers.
  SystemLog& systemLog;                      ///< Lines for whoever looks.
  Bundle& bundle;                            ///< The texts of messages and names.
  Workspace& workspace;                      ///< The desktop around the program.
  Clock& clock;                              ///< Waits for the browser.
};

}  // namespace tarvel
