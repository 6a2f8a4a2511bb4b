#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bundle.h"
#include "platform/linux/base/user_languages.h"
#include "platform/linux/launch/bundle_location.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// A bundle in a folder: its information in `Contents/Info.plist`, or `Info.plist` where that is not to be had, its
/// texts in `Contents/Resources/<language>.lproj/Localizable.strings`, all of them property lists in any form.
///
/// Each is read on first use and kept, whatever happens to the file. What is missing, too large or no dictionary is as
/// if it were not there. The first language that has a table is the one for all texts, so that they never mix; a text
/// that is in the table counts even when it is empty, as somebody wrote it there.
class LinuxBundle final : public Bundle {
 public:
  /// `propertyLists` is borrowed. An empty path: a program outside of any bundle. `languages` as preferredLanguages()
  /// gives them; without any, no table is ever looked for.
  LinuxBundle(PropertyListSerialization& propertyLists, std::string path, std::vector<std::string> languages);

  /// The agent's bundle, whose texts the command and the main application use, at no cost for a user of English.
  [[nodiscard]] static LinuxBundle forCommand(PropertyListSerialization& propertyLists);

  [[nodiscard]] std::string bundlePath() override { return path_; }
  [[nodiscard]] std::optional<std::string> stringForInfoDictionaryKey(std::string_view key) override;
  [[nodiscard]] std::string localizedStringForKeyValue(std::string_view key, std::string_view value) override;

 private:
  [[nodiscard]] PropertyList read(const std::string& path) const;
  [[nodiscard]] PropertyList readInformation() const;
  [[nodiscard]] PropertyList readTable() const;

  PropertyListSerialization& propertyLists_;
  std::string path_;
  std::vector<std::string> languages_;
  std::optional<PropertyList> information_;
  std::optional<PropertyList> table_;
};

/// Bundles on the disk.
class LinuxBundles final : public Bundles {
 public:
  /// `propertyLists` is borrowed, also by the bundles that are handed out.
  LinuxBundles(PropertyListSerialization& propertyLists, std::vector<std::string> languages)
      : propertyLists_(propertyLists), languages_(std::move(languages)) {}

  [[nodiscard]] std::unique_ptr<Bundle> bundleWithPath(const std::string& path) override;

 private:
  PropertyListSerialization& propertyLists_;
  std::vector<std::string> languages_;
};

}  // namespace tarvel
