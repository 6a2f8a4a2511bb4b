#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "platform/bundle.h"

namespace tarvel {

/// A bundle with the information and translations that a test sets.
class MemoryBundle final : public Bundle {
 public:
  [[nodiscard]] std::string bundlePath() override { return path_; }
  [[nodiscard]] std::optional<std::string> stringForInfoDictionaryKey(std::string_view key) override;
  [[nodiscard]] std::string localizedStringForKeyValue(std::string_view key, std::string_view value) override;

  void translate(const std::string& key, const std::string& text) { translations_[key] = text; }
  void setPath(const std::string& path) { path_ = path; }
  void setInfo(const std::string& key, const std::string& text) { information_[key] = text; }

 private:
  std::string path_ = "/A/Main.app/Contents/X/TarvelHelper.app";
  std::map<std::string, std::string, std::less<>> information_;
  std::map<std::string, std::string, std::less<>> translations_;
};

/// Bundles added by a test.
class MemoryBundles final : public Bundles {
 public:
  /// The bundle at a path; adds it if necessary.
  [[nodiscard]] MemoryBundle& at(const std::string& path);
  [[nodiscard]] std::size_t lookups() const { return lookups_; }

  /// Returns a snapshot: later changes at the path do not affect it.
  [[nodiscard]] std::unique_ptr<Bundle> bundleWithPath(const std::string& path) override;

 private:
  std::map<std::string, MemoryBundle> bundles_;
  std::size_t lookups_ = 0;
};

}  // namespace tarvel
