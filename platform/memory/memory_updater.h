#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/updater.h"

namespace tarvel {

/// An updater with the settings a test gives it, which finds what the test reports.
class MemoryUpdater final : public Updater {
 public:
  void setAutomaticallyChecks(bool checks) { automaticallyChecks_ = checks; }
  void setInterval(double seconds) { interval_ = seconds; }
  void setLastCheckDate(const std::optional<Date>& date) { lastCheckDate_ = date; }
  /// The check that is under way found this. Nobody hears of it without a delegate.
  void reportUpdate(const std::string& version);
  [[nodiscard]] std::size_t checks() const { return checks_; }

  [[nodiscard]] bool automaticallyChecksForUpdates() override { return automaticallyChecks_; }
  [[nodiscard]] double updateCheckInterval() override { return interval_; }
  [[nodiscard]] std::optional<Date> lastUpdateCheckDate() override { return lastCheckDate_; }
  void setDelegate(UpdaterDelegate* delegate) override { delegate_ = delegate; }
  void checkForUpdateInformation() override { ++checks_; }

 private:
  UpdaterDelegate* delegate_ = nullptr;
  std::optional<Date> lastCheckDate_;
  double interval_ = 86400;
  std::size_t checks_ = 0;
  bool automaticallyChecks_ = false;
};

class MemoryUpdaters final : public Updaters {
 public:
  [[nodiscard]] MemoryUpdater& at(const std::string& bundlePath);
  /// Every path that was asked for, in order; those of at() left out.
  [[nodiscard]] const std::vector<std::string>& askedPaths() const { return askedPaths_; }

  [[nodiscard]] Updater& updaterForBundle(const std::string& bundlePath) override;

 private:
  std::map<std::string, std::unique_ptr<MemoryUpdater>> updaters_;
  std::vector<std::string> askedPaths_;
};

}  // namespace tarvel
