#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace tarvel {

/// A folder that holds a program with what it carries besides its code.
class Bundle {
 public:
  virtual ~Bundle() = default;

  /// The bundle's folder, without a slash at the end. Empty for a program that stands in no bundle.
  [[nodiscard]] virtual std::string bundlePath() = 0;

  /// A text of the bundle's information list; none when the key is absent or holds something else.
  [[nodiscard]] virtual std::optional<std::string> stringForInfoDictionaryKey(std::string_view key) = 0;

  /// The user's language's text for `key` in the default strings table. Without a translation: `value`, or `key`
  /// itself when `value` is empty.
  [[nodiscard]] virtual std::string localizedStringForKeyValue(std::string_view key, std::string_view value) = 0;
};

/// Bundles by path.
class Bundles {
 public:
  virtual ~Bundles() = default;

  /// Null when there is no folder at `path`.
  [[nodiscard]] virtual std::unique_ptr<Bundle> bundleWithPath(const std::string& path) = 0;
};

}  // namespace tarvel
