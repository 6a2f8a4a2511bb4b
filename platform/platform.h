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

/// The services that sorting a file needs, by reference. The owner must outlive all borrowers.
struct Platform {
  PropertyListSerialization& propertyLists;  ///< Reads and writes property lists.
  FileManager& fileManager;                  ///< Reads and writes files.
  Collator& collator;                        ///< Orders titles.
  UuidSource& uuidSource;                    ///< Makes identifiers.
  SystemLog& systemLog;                      ///< Diagnostics.
  Bundle& bundle;                            ///< Translated messages.
  Workspace& workspace;                      ///< Launches applications.
  Clock& clock;                              ///< Time and sleeping.
};

}  // namespace tarvel
