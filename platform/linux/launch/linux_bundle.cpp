#include "platform/linux/launch/linux_bundle.h"

#include <sys/stat.h>

#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/files/file_reading.h"

namespace tarvel {

namespace {

/// Far above any translation table or Info.plist.
constexpr off_t kLargestInformation = off_t{1} << 20;

}  // namespace

LinuxBundle::LinuxBundle(PropertyListSerialization& propertyLists, std::string path, std::vector<std::string> languages)
    : propertyLists_(propertyLists), path_(std::move(path)), languages_(std::move(languages)) {}

LinuxBundle LinuxBundle::forCommand(PropertyListSerialization& propertyLists) {
  std::vector<std::string> languages = preferredLanguages();
  std::string path = languages.empty() ? std::string() : helperBundlePathForCommand();
  return {propertyLists, std::move(path), std::move(languages)};
}

/// Without a root if there is no such list.
PropertyList LinuxBundle::read(const std::string& path) const {
  struct stat status {};
  const UniqueFd fd = openRegular(path, status);
  if (!fd || status.st_size > kLargestInformation) return {};
  const FileReading reading = readWhole(fd.get(), static_cast<std::size_t>(status.st_size), path);
  if (!reading.status.ok()) return {};
  PropertyListReading parsed = propertyLists_.propertyListFromData(reading.data);
  if (parsed.error || !parsed.list.root.dictionary()) return {};
  return std::move(parsed.list);
}

PropertyList LinuxBundle::readInformation() const {
  PropertyList information = read(path_ + "/Contents/Info.plist");
  return information.root ? information : read(path_ + "/Info.plist");
}

PropertyList LinuxBundle::readTable() const {
  for (const std::string& language : languages_) {
    PropertyList table = read(path_ + "/Contents/Resources/" + language + ".lproj/Localizable.strings");
    if (table.root) return table;
  }
  return {};
}

std::optional<std::string> LinuxBundle::stringForInfoDictionaryKey(std::string_view key) {
  if (path_.empty()) return std::nullopt;
  if (!information_) information_ = readInformation();
  const auto text = information_->root.dictionary().string(key);
  if (!text) return std::nullopt;
  return std::string(*text);
}

std::string LinuxBundle::localizedStringForKeyValue(std::string_view key, std::string_view value) {
  if (!path_.empty() && !languages_.empty()) {
    if (!table_) table_ = readTable();
    if (const auto text = table_->root.dictionary().string(key)) return std::string(*text);
  }
  return std::string(value.empty() ? key : value);
}

std::unique_ptr<Bundle> LinuxBundles::bundleWithPath(const std::string& path) {
  std::error_code error;
  const bool isPath = !path.empty() && path.find('\0') == std::string::npos;
  if (!isPath || !std::filesystem::is_directory(path, error)) return nullptr;
  std::string folder = path;
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return std::make_unique<LinuxBundle>(propertyLists_, std::move(folder), languages_);
}

}  // namespace tarvel
