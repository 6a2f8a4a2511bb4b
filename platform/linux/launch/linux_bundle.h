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

/// A bundle in a folder: information in `Contents/Info.plist` or `Info.plist`, translations in
/// `Contents/Resources/<language>.lproj/Localizable.strings`; property lists in any format.
///
/// Each file is read on first use and cached. Missing, oversized and malformed files count as absent. All texts come
/// from the first language that has a table, so languages are never mixed; an empty translation counts.
class LinuxBundle final : public Bundle {
 public:
  /// `propertyLists` is borrowed. An empty path: a program outside of any bundle. `languages` as from
  /// preferredLanguages(); if empty, no table is looked for.
  LinuxBundle(PropertyListSerialization& propertyLists, std::string path, std::vector<std::string> languages);

  /// The agent's bundle, whose translations the command and the main application use. Costs nothing for a user of
  /// English.
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

/// Bundles on disk.
class LinuxBundles final : public Bundles {
 public:
  /// `propertyLists` is borrowed, also by the returned bundles.
  LinuxBundles(PropertyListSerialization& propertyLists, std::vector<std::string> languages)
      : propertyLists_(propertyLists), languages_(std::move(languages)) {}

  [[nodiscard]] std::unique_ptr<Bundle> bundleWithPath(const std::string& path) override;

 private:
  PropertyListSerialization& propertyLists_;
  std::vector<std::string> languages_;
};

}  // namespace tarvel
