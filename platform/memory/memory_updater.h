#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/memory/virtual_time.h"
#include "platform/updater.h"

namespace tarvel {

/// An updater with settings from a test, whose checks run until the test finishes them.
class MemoryUpdater final : public Updater {
 public:
  /// `time` is borrowed.
  explicit MemoryUpdater(const VirtualTime& time) : time_(time) {}

  // What the application's bundle and settings say; in the beginning nothing.
  void setFeed(const std::string& address) { feed_ = address; }
  void setVersion(const std::string& version) { version_ = version; }
  void setAutomaticallyChecks(bool checks) { automaticallyChecks_ = checks; }
  void setInterval(double seconds) { interval_ = seconds; }
  void setLastCheckDate(const std::optional<Date>& date) { lastCheckDate_ = date; }
  /// Finishes the running check with this result, or with none. No effect without a running check; not reported without
  /// a delegate.
  void finishCheck(const std::optional<std::string>& version);
  [[nodiscard]] bool isChecking() const { return isChecking_; }
  /// The number of checks begun.
  [[nodiscard]] std::size_t checks() const { return checks_; }

  [[nodiscard]] bool automaticallyChecksForUpdates() override;
  [[nodiscard]] double updateCheckInterval() override;
  [[nodiscard]] std::optional<Date> lastUpdateCheckDate() override { return lastCheckDate_; }
  void setDelegate(UpdaterDelegate* delegate) override { delegate_ = delegate; }
  void checkForUpdateInformation() override;

 private:
  [[nodiscard]] bool canCheck() const { return !feed_.empty() && !version_.empty(); }
  [[nodiscard]] double storedInterval() const;

  const VirtualTime& time_;
  UpdaterDelegate* delegate_ = nullptr;
  std::string feed_;
  std::string version_;
  std::optional<Date> lastCheckDate_;
  double interval_ = 86400;
  std::size_t checks_ = 0;
  bool automaticallyChecks_ = false;
  bool isChecking_ = false;
};

class MemoryUpdaters final : public Updaters {
 public:
  /// `time` is borrowed.
  explicit MemoryUpdaters(const VirtualTime& time) : time_(time) {}

  [[nodiscard]] MemoryUpdater& at(const std::string& bundlePath);
  /// All requested paths in order, without those of at().
  [[nodiscard]] const std::vector<std::string>& askedPaths() const { return askedPaths_; }

  [[nodiscard]] Updater& updaterForBundle(const std::string& bundlePath) override;

 private:
  const VirtualTime& time_;
  std::map<std::string, std::unique_ptr<MemoryUpdater>> updaters_;
  std::vector<std::string> askedPaths_;
};

}  // namespace tarvel
