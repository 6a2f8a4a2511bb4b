#include "platform/linux/preferences/preferences_file.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <filesystem>
#include <memory>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/linux/base/safe_text.h"
#include "platform/linux/files/file_io.h"
#include "platform/linux/files/file_place.h"
#include "platform/linux/files/file_reading.h"
#include "platform/linux/files/private_folders.h"
#include "platform/linux/files/stale_files.h"
#include "platform/linux/files/temporary_file.h"
#include "platform/linux/preferences/settings_lock.h"
#include "platform/storable_preference.h"

namespace tarvel {

namespace {

constexpr off_t kLargest = off_t{16} * 1024 * 1024;

std::string words(int code) { return std::generic_category().message(code); }

/// Whether two lists of the same shape hold the same strings, which XML may lose silently.
bool holdSameTexts(PropertyListValue first, PropertyListValue second) {
  if (first.type() != second.type()) return false;
  if (const auto text = first.string()) return text == second.string();
  if (const PropertyListArray array = first.array()) {
    bool areSame = array.size() == second.array().size();
    for (std::size_t i = 0; areSame && i < array.size(); ++i)
      areSame = holdSameTexts(array.at(i), second.array().at(i));
    return areSame;
  }
  const PropertyListDictionary dictionary = first.dictionary();
  bool areSame = dictionary.size() == second.dictionary().size();
  for (std::size_t i = 0; areSame && i < dictionary.size(); ++i) {
    // XML sorts the keys.
    const auto key = dictionary.keyAt(i).string();
    areSame = key && holdSameTexts(dictionary.valueAt(i), second.dictionary().get(*key));
  }
  return areSame;
}

std::string timeForName() {
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  char text[32] = {};
  if (::gmtime_r(&now, &parts) != nullptr) (void)std::strftime(text, sizeof text, "%Y%m%dT%H%M%SZ", &parts);
  return text;
}

}  // namespace

PreferencesFile::PreferencesFile(PropertyListSerialization& propertyLists, SystemLog& systemLog, std::string path)
    : propertyLists_(propertyLists), systemLog_(systemLog), path_(std::move(path)) {}

bool PreferencesFile::isSame(const Stamp& a, const Stamp& b) {
  const auto equal = [](const timespec& x, const timespec& y) {
    return x.tv_sec == y.tv_sec && x.tv_nsec == y.tv_nsec;
  };
  return a.device == b.device && a.inode == b.inode && a.size == b.size && equal(a.modified, b.modified) &&
         equal(a.changed, b.changed);
}

void PreferencesFile::complain(State state, const std::string& reason) {
  state_ = state;
  list_ = {};
  if (loggedState_ != state)
    systemLog_.log("The settings in " + quotedText(path_) + " cannot be read, defaults are used: " + reason);
  loggedState_ = state;
}

void PreferencesFile::load(const struct stat& status) {
  if (!S_ISREG(status.st_mode)) return complain(State::kUnreadable, "This is no file.");
  if (status.st_size > kLargest) return complain(State::kUnreadable, "The file is too large.");
  struct stat opened {};
  const UniqueFd fd = openRegular(path_, opened);
  if (!fd) return complain(State::kUnreadable, words(errno));
  const FileReading reading = readWhole(fd.get(), static_cast<std::size_t>(opened.st_size), path_);
  if (!reading.status.ok()) return complain(State::kUnreadable, reading.status.reason);
  PropertyListReading parsed = propertyLists_.propertyListFromData(reading.data);
  if (parsed.error) return complain(State::kCorrupt, parsed.error->description);
  if (!parsed.list.root.dictionary()) return complain(State::kCorrupt, "The list holds no keys.");
  list_ = std::move(parsed.list);
  state_ = loggedState_ = State::kGood;
}

void PreferencesFile::refresh() {
  struct stat status {};
  if (::stat(path_.c_str(), &status) != 0) {
    stamp_.reset();
    if (errno != ENOENT && errno != ENOTDIR) return complain(State::kUnreadable, words(errno));
    list_ = {};
    state_ = loggedState_ = State::kMissing;
    return;
  }
  const Stamp stamp{status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
  if (stamp_ && isSame(*stamp_, stamp)) return;
  load(status);
  // An unreadable file may become readable without a change of the file.
  stamp_ = state_ == State::kUnreadable ? std::nullopt : std::optional(stamp);
}

PropertyList PreferencesFile::value(std::string_view key) {
  const auto marked = marks_.find(key);
  if (marked != marks_.end()) return marked->second;
  refresh();
  return {list_.tree, list_.root.dictionary().get(key)};
}

std::map<std::string, PropertyList, std::less<>> PreferencesFile::values() {
  refresh();
  std::map<std::string, PropertyList, std::less<>> values;
  const PropertyListDictionary stored = list_.root.dictionary();
  for (std::size_t i = 0; i < stored.size(); ++i) {
    if (const auto key = stored.keyAt(i).string()) values.emplace(*key, PropertyList{list_.tree, stored.valueAt(i)});
  }
  for (const auto& [key, value] : marks_) {
    if (value.root) {
      values[key] = value;
    } else {
      values.erase(key);
    }
  }
  return values;
}

void PreferencesFile::mark(std::string_view key, const PropertyList& value) { marks_[std::string(key)] = value; }

/// Returns whether anything changed.
bool PreferencesFile::applyMarks(PropertyList& list) const {
  if (!list.root) {
    list.tree = std::make_shared<PropertyListTree>();
    list.root = list.tree->makeDictionary().value();
  }
  const PropertyListDictionary settings = list.root.dictionary();
  bool isChanged = false;
  for (const auto& [name, value] : marks_) {
    const PropertyListKey key{std::string_view(name)};
    if (value.root) {
      settings.set(key, storedPreference(*list.tree, value.root));
    } else if (settings.get(key)) {
      settings.remove(key);
    } else {
      continue;
    }
    isChanged = true;
  }
  return isChanged;
}

bool PreferencesFile::setAside() const {
  const std::string aside = path_ + ".corrupt-" + timeForName();
  for (int i = 0; i < 100; ++i) {
    const std::string name = i == 0 ? aside : aside + "-" + std::to_string(i);
    // By a hard link, which never replaces anything. Of the file itself if the path is a link.
    if (::linkat(AT_FDCWD, path_.c_str(), AT_FDCWD, name.c_str(), AT_SYMLINK_FOLLOW) == 0) return true;
    if (errno != EEXIST) break;
  }
  return ::rename(path_.c_str(), aside.c_str()) == 0;
}

/// Whether the written bytes read back as the same list.
bool PreferencesFile::isKept(const PropertyListWriting& writing, const PropertyList& list) const {
  if (writing.error) return false;
  const std::string bytes = writing.data.joined();
  if (bytes.size() > static_cast<std::size_t>(kLargest)) return false;
  const PropertyListReading readBack = propertyLists_.propertyListFromData(Data::copyOf(bytes));
  return !readBack.error && holdSameTexts(list.root, readBack.list.root);
}

bool PreferencesFile::write(const PropertyList& list) const {
  PropertyListWriting writing =
      propertyLists_.dataWithPropertyList(list, static_cast<std::uint32_t>(PropertyListFormat::kXml));
  // Some strings and values cannot be read back from XML; the binary format can hold everything that was ever read.
  if (!isKept(writing, list)) {
    writing = propertyLists_.dataWithPropertyList(list, static_cast<std::uint32_t>(PropertyListFormat::kBinary));
    if (!isKept(writing, list)) return false;
  }
  const FilePlace place = followLinks(path_);
  if (!place.folder) return false;
  // The settings lock does not protect this folder, which may be the bookmarks file's.
  tidyIfFree(place.folder.get());
  TemporaryFile file(place.folder.get(), kPrivate);
  if (!file || !writePieces(file.fd(), writing.data) || ::fsync(file.fd()) != 0) return false;
  waitForLaterTimestamp(file.fd());
  if (!file.replace(place.name)) return false;
  syncFolder(place.folder.get());
  return true;
}

bool PreferencesFile::flush() {
  if (marks_.empty()) return true;
  const auto isStorable = [](const auto& mark) { return !mark.second.root || isStorablePreference(mark.second.root); };
  if (!std::ranges::all_of(marks_, isStorable)) return false;
  if (!makePrivateFolder(std::filesystem::path(path_).parent_path().string()).ok()) return false;
  const SettingsLock lock(path_ + ".lock");
  if (!lock) return false;
  stamp_.reset();
  refresh();
  if (state_ == State::kUnreadable) return false;
  PropertyList list = std::exchange(list_, {});
  const bool isChanged = applyMarks(list);
  // The list was changed in memory; the next read takes it from disk.
  stamp_.reset();
  if (isChanged && ((state_ == State::kCorrupt && !setAside()) || !write(list))) return false;
  marks_.clear();
  return true;
}

}  // namespace tarvel
