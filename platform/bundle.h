#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarvel {

/// A program's folder with its resources.
class Bundle {
 public:
  virtual ~Bundle() = default;

  /// The bundle's folder, without a trailing slash. Empty for a program outside of any bundle.
  [[nodiscard]] virtual std::string bundlePath() = 0;

  /// A string from the bundle's Info.plist; none when the key is absent or its value is not a string.
  [[nodiscard]] virtual std::optional<std::string> stringForInfoDictionaryKey(std::string_view key) = 0;

  /// The translation of `key` in the default strings table for the user's language. Without one: `value`, or `key` if
  /// `value` is empty.
  [[nodiscard]] virtual std::string localizedStringForKeyValue(std::string_view key, std::string_view value) = 0;
};

/// Opens bundles by path.
class Bundles {
 public:
  virtual ~Bundles() = default;

  /// Null when there is no folder at `path`.
  [[nodiscard]] virtual std::unique_ptr<Bundle> bundleWithPath(const std::string& path) = 0;
};

}  // namespace tarvel
