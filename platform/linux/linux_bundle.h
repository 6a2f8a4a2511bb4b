#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/bundle.h"
#include "platform/property_list_serialization.h"

namespace tarvel {

/// A bundle in a folder: its information in `Contents/Info.plist`, its texts in
/// `Contents/Resources/<language>.lproj/Localizable.strings`. Both are read on first use and kept; what cannot be read
/// is as if it were not there.
class LinuxBundle final : public Bundle {
 public:
  /// `propertyLists` is borrowed. An empty path: a program outside of any bundle. `languages` are the user's, best
  /// first, as preferredLanguages() gives them.
  LinuxBundle(PropertyListSerialization& propertyLists, std::string path, std::vector<std::string> languages);

  [[nodiscard]] std::string bundlePath() override { return path_; }
  [[nodiscard]] std::optional<std::string> stringForInfoDictionaryKey(std::string_view key) override;
  [[nodiscard]] std::string localizedStringForKeyValue(std::string_view key, std::string_view value) override;

 private:
  [[nodiscard]] PropertyList read(const std::string& path) const;
  void loadTable();

  PropertyListSerialization& propertyLists_;
  std::string path_;
  std::vector<std::string> languages_;
  std::optional<PropertyList> information_;
  std::optional<PropertyList> table_;
};

class LinuxBundles final : public Bundles {
 public:
  /// `propertyLists` is borrowed.
  LinuxBundles(PropertyListSerialization& propertyLists, std::vector<std::string> languages)
      : propertyLists_(propertyLists), languages_(std::move(languages)) {}

  [[nodiscard]] std::unique_ptr<Bundle> bundleWithPath(const std::string& path) override;

 private:
  PropertyListSerialization& propertyLists_;
  std::vector<std::string> languages_;
};

/// The user's languages by the environment, best first: "de_AT" gives "de_AT", "de-AT", "de". Ends before English, in
/// which every text is its own key; empty for a user of English.
[[nodiscard]] std::vector<std::string> preferredLanguages();

/// The bundle that holds this program: the nearest folder above its executable whose name ends in ".app". Empty when
/// there is none.
[[nodiscard]] std::string bundlePathOfExecutable();

/// The agent's bundle as seen from the command, which stands outside: empty when it is not installed beside it.
[[nodiscard]] std::string helperBundlePathForCommand();

}  // namespace tarvel
