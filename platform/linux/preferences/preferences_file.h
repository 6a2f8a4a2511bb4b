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

/// The settings of one application: a property list in a folder of its own, and what this process wants changed in it.
///
/// Reading costs one look at the file's status while nobody changes it. A file that cannot be understood reads as
/// empty, and is set aside, never deleted, when something is written; one that cannot be read stays as it is. Both are
/// logged once.
class PreferencesFile {
 public:
  /// `propertyLists` and `systemLog` are borrowed. `path` names the list; its lock lies beside it.
  PreferencesFile(PropertyListSerialization& propertyLists, SystemLog& systemLog, std::string path);

  /// The value to be, or the stored one. A list without a root when there is neither.
  [[nodiscard]] PropertyList value(std::string_view key);
  /// The settings as they would be with everything written, by key.
  [[nodiscard]] std::map<std::string, PropertyList, std::less<>> values();
  /// A list without a root removes the key.
  void mark(std::string_view key, const PropertyList& value);
  /// Puts the marked keys on the disk, under the lock, on top of what is there by then.
  [[nodiscard]] bool flush();

 private:
  enum class State { kMissing, kGood, kCorrupt, kUnreadable };
  /// What tells one version of the file from the next.
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
