#pragma once

#include <sys/stat.h>

#include <map>
#include <optional>
#include <string>

#include "platform/property_list.h"
#include "platform/property_list_serialization.h"
#include "platform/system_log.h"

// Internal to platform/linux.
namespace tarvel {

/// The settings of one application: a property list file, and this process's pending changes.
///
/// Reading an unchanged file costs one stat(). A malformed file reads as empty and is moved aside, never deleted, by
/// the next write; an unreadable file is left alone. Each is logged once.
class PreferencesFile {
 public:
  /// `propertyLists` and `systemLog` are borrowed. `path` is the file; its lock is beside it.
  PreferencesFile(PropertyListSerialization& propertyLists, SystemLog& systemLog, std::string path);

  /// The pending value, else the stored one. A list without a root if there is neither.
  [[nodiscard]] PropertyList value(std::string_view key);
  /// All values, pending changes applied, by key.
  [[nodiscard]] std::map<std::string, PropertyList, std::less<>> values();
  /// Sets a pending value. A list without a root removes the key.
  void mark(std::string_view key, const PropertyList& value);
  /// Writes the pending changes under the lock, on top of the current file.
  [[nodiscard]] bool flush();

 private:
  enum class State { kMissing, kGood, kCorrupt, kUnreadable };
  /// Detects changes of the file.
  struct Stamp {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    timespec modified{};
    timespec changed{};
  };
  [[nodiscard]] static bool isSame(const Stamp& a, const Stamp& b);

  void refresh();
  void load(const struct stat& status);
  void complain(State state, const std::string& reason);
  [[nodiscard]] bool applyMarks(PropertyList& list) const;
  [[nodiscard]] bool setAside() const;
  [[nodiscard]] bool isKept(const PropertyListWriting& writing, const PropertyList& list) const;
  [[nodiscard]] bool write(const PropertyList& list) const;

  PropertyListSerialization& propertyLists_;
  SystemLog& systemLog_;
  std::string path_;
  PropertyList list_;
  State state_ = State::kMissing;
  State loggedState_ = State::kMissing;
  std::optional<Stamp> stamp_;
  std::map<std::string, PropertyList, std::less<>> marks_;
};

}  // namespace tarvel
