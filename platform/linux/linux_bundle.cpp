#include "platform/linux/linux_bundle.h"

#include <sys/stat.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <system_error>
#include <utility>

#include "platform/linux/file_reading.h"
#include "platform/linux/unique_fd.h"

namespace tarvel {

namespace {

/// Neither a table of texts nor a list of information comes near it.
constexpr off_t kLargest = off_t{4} * 1024 * 1024;

std::string withoutEncoding(const std::string& locale) { return locale.substr(0, locale.find_first_of(".@")); }

bool isEnglish(const std::string& language) {
  return language.empty() || language == "C" || language == "POSIX" || language == "en" ||
         language.starts_with("en_") || language.starts_with("en-");
}

/// The list in LANGUAGE, which counts only where a locale is set, or the one locale for messages.
std::vector<std::string> wishedLocales() {
  const auto value = [](const char* variable) {
    const char* text = std::getenv(variable);
    return std::string(text == nullptr ? "" : text);
  };
  std::string locale;
  for (const char* variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
    if (locale.empty()) locale = value(variable);
  }
  const std::string plain = withoutEncoding(locale);
  if (plain.empty() || plain == "POSIX" || locale == "C") return {};
  std::vector<std::string> locales;
  std::string list = value("LANGUAGE");
  while (!list.empty()) {
    const std::size_t colon = list.find(':');
    locales.push_back(list.substr(0, colon));
    list = colon == std::string::npos ? "" : list.substr(colon + 1);
  }
  if (locales.empty()) locales.push_back(locale);
  return locales;
}

}  // namespace

std::vector<std::string> preferredLanguages() {
  std::vector<std::string> languages;
  for (const std::string& locale : wishedLocales()) {
    std::string language = withoutEncoding(locale);
    if (isEnglish(language)) break;
    // It becomes part of a path.
    if (language.find('/') != std::string::npos) continue;
    languages.push_back(language);
    const std::size_t underscore = language.find('_');
    if (underscore == std::string::npos) continue;
    std::string withHyphen = language;
    withHyphen[underscore] = '-';
    languages.push_back(std::move(withHyphen));
    languages.push_back(language.substr(0, underscore));
  }
  return languages;
}

LinuxBundle::LinuxBundle(PropertyListSerialization& propertyLists, std::string path, std::vector<std::string> languages)
    : propertyLists_(propertyLists), path_(std::move(path)), languages_(std::move(languages)) {}

/// Without a root when there is no such list.
PropertyList LinuxBundle::read(const std::string& path) const {
  struct stat status {};
  const UniqueFd fd = openRegular(path, status);
  if (!fd || status.st_size > kLargest) return {};
  const FileReading reading = readWhole(fd.get(), static_cast<std::size_t>(status.st_size), path);
  if (!reading.status.ok()) return {};
  PropertyListReading parsed = propertyLists_.propertyListFromData(reading.data);
  if (parsed.error || !parsed.list.root.dictionary()) return {};
  return std::move(parsed.list);
}

std::optional<std::string> LinuxBundle::stringForInfoDictionaryKey(std::string_view key) {
  if (path_.empty()) return std::nullopt;
  if (!information_) {
    information_ = read(path_ + "/Contents/Info.plist");
    if (!information_->root) information_ = read(path_ + "/Info.plist");
  }
  const auto text = information_->root.dictionary().string(key);
  if (!text) return std::nullopt;
  return std::string(*text);
}

void LinuxBundle::loadTable() {
  table_.emplace();
  for (const std::string& language : languages_) {
    *table_ = read(path_ + "/Contents/Resources/" + language + ".lproj/Localizable.strings");
    if (table_->root) return;
  }
}

std::string LinuxBundle::localizedStringForKeyValue(std::string_view key, std::string_view value) {
  if (!path_.empty() && !languages_.empty()) {
    if (!table_) loadTable();
    if (const auto text = table_->root.dictionary().string(key)) return std::string(*text);
  }
  return std::string(value.empty() ? key : value);
}

std::unique_ptr<Bundle> LinuxBundles::bundleWithPath(const std::string& path) {
  std::error_code error;
  if (path.empty() || !std::filesystem::is_directory(path, error)) return nullptr;
  std::string folder = path;
  while (folder.size() > 1 && folder.back() == '/') folder.pop_back();
  return std::make_unique<LinuxBundle>(propertyLists_, std::move(folder), languages_);
}

std::string bundlePathOfExecutable() {
  std::error_code error;
  std::filesystem::path folder = std::filesystem::read_symlink("/proc/self/exe", error);
  while (!error && folder.has_relative_path()) {
    folder = folder.parent_path();
    if (folder.extension() == ".app") return folder.string();
  }
  return {};
}

std::string helperBundlePathForCommand() {
  constexpr const char* kHelper = "Tarvel.app/Contents/Library/TarvelHelper.app";
  std::error_code error;
  const std::filesystem::path executable = std::filesystem::read_symlink("/proc/self/exe", error);
  if (error) return {};
  // In a build tree beside the command's folder; installed, in the library folder beside bin/, whatever its name.
  const std::filesystem::path prefix = executable.parent_path().parent_path();
  for (const std::string& folder : {std::string(), std::string(TARVEL_LIBRARY_FOLDER "/tarvel/")}) {
    const std::filesystem::path candidate = prefix / (folder + kHelper);
    if (std::filesystem::is_directory(candidate, error)) return candidate.string();
  }
  return {};
}

}  // namespace tarvel
