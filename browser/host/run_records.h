#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "browser/host/browser_tree.h"
#include "browser/host/request.h"
#include "platform/file_manager.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// Number of runs that can be undone, for each profile of a browser.
inline constexpr std::size_t kMostRecords = 10;

/// RunRecord::task of a clean-up.
inline constexpr std::string_view kCleanTaskName = "clean";

/// A browser's bookmarks as they were before a run.
struct RunRecord {
  PropertyList list;
  std::string task;  ///< "sort" or "clean".
  std::string date;  ///< Local time, for people.
  PropertyListArray roots;
};

/// The outcome of reading a record.
struct RunRecordReading {
  /// None for a record of another profile, and after a problem.
  std::optional<RunRecord> record;
  std::string problem;     ///< Why it cannot be read; empty if it can.
  bool isDamaged = false;  ///< Whether it will never be readable.
};

/// The undo records of one profile: a folder of binary property lists with ascending numbers as names. They are written
/// atomically, readable by the user only, and never changed.
class RunRecords {
 public:
  /// `folder` is shared by all profiles; `profile` never becomes part of a path. `files` and `propertyLists` are
  /// borrowed.
  RunRecords(FileManager& files, PropertyListSerialization& propertyLists, const std::string& folder,
             std::string profile);

  /// The record's bytes. Made before cleaning, which consumes the tree.
  [[nodiscard]] std::optional<DataPieces> recordOf(const BrowserTree& tree, Task task, const std::string& date);
  /// Writes a record and syncs it, then removes the oldest beyond kMostRecords.
  [[nodiscard]] FileStatus add(const DataPieces& record);

  /// Newest first.
  [[nodiscard]] std::vector<std::string> names();
  [[nodiscard]] RunRecordReading read(const std::string& name);
  /// Renames a damaged record, so that the one before it is the newest. If that fails, the next undo reports it again.
  void setAside(const std::string& name);
  void remove(const std::string& name);

 private:
  FileManager& files_;
  PropertyListSerialization& propertyLists_;
  std::string folder_;
  std::string profile_;
};

}  // namespace tarvel
