#pragma once

#include <set>
#include <string>
#include <vector>

#include "platform/workspace.h"

namespace tarvel {

/// Records announcements and launches. Launches succeed unless a test says otherwise.
class MemoryWorkspace final : public Workspace {
 public:
  void noteFileSystemChanged(const std::string& path) override { announced_.push_back(path); }
  [[nodiscard]] bool offersLaunchApplicationAtUrl() override { return offersUrl_; }
  [[nodiscard]] bool launchApplicationAtUrlOptions(const std::string& path, std::uint32_t options) override;
  [[nodiscard]] bool launchApplication(const std::string& path) override;
  [[nodiscard]] bool launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier,
                                                          std::uint32_t options) override;

  /// Makes launches of this path fail.
  void setMissing(const std::string& path) { missing_.insert(path); }
  void setOffersUrl(bool offersUrl) { offersUrl_ = offersUrl; }
  void setUrlLaunchWorks(bool works) { urlLaunchWorks_ = works; }
  void setPathLaunchWorks(bool works) { pathLaunchWorks_ = works; }
  void setIdentifierLaunchWorks(bool works) { identifierLaunchWorks_ = works; }

  [[nodiscard]] const std::vector<std::string>& announced() const { return announced_; }
  /// All attempted launches, in order: "url PATH 0x30000", "path PATH", "identifier ID 0x30000".
  [[nodiscard]] const std::vector<std::string>& launches() const { return launches_; }
  /// Clears the record.
  void forget() {
    std::vector<std::string>().swap(announced_);
    std::vector<std::string>().swap(launches_);
  }

 private:
  std::vector<std::string> announced_;
  std::vector<std::string> launches_;
  [[nodiscard]] bool isThere(const std::string& path) const { return !path.empty() && !missing_.contains(path); }

  std::set<std::string> missing_;
  bool offersUrl_ = true;
  bool urlLaunchWorks_ = true;
  bool pathLaunchWorks_ = true;
  bool identifierLaunchWorks_ = true;
};

}  // namespace tarvel
