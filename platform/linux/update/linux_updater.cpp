#include "platform/linux/update/linux_updater.h"

#include <unistd.h>

#include <chrono>
#include <cmath>
#include <ctime>
#include <utility>

#include "platform/linux/update/update_check_process.h"
#include "settings/preference_keys.h"

namespace tarvel {

namespace {

constexpr const char* kFeedKey = "SUFeedURL";
constexpr const char* kVersionKey = "CFBundleVersion";
constexpr const char* kShortVersionKey = "CFBundleShortVersionString";
constexpr const char* kIdentifierKey = "CFBundleIdentifier";
/// The minimum interval, whatever the settings say.
constexpr double kLeastInterval = 60;
/// Property lists count from 2001, clocks from 1970.
constexpr double kSecondsTo2001 = 978307200;

class LinuxUpdater final : public Updater {
 public:
  LinuxUpdater(const UpdaterSurroundings& surroundings, const std::string& bundlePath)
      : surroundings_(surroundings), bundlePath_(bundlePath) {}

  [[nodiscard]] bool automaticallyChecksForUpdates() override {
    // Absent means that the user was never asked; the agent does not ask, so checks are off.
    const bool isWanted = preferences().appBooleanValue(kAutomaticUpdateChecksKey, identifier()).value_or(false);
    return isWanted && canCheck() && storedInterval() > 0;
  }

  [[nodiscard]] double updateCheckInterval() override { return std::max(storedInterval(), kLeastInterval); }

  [[nodiscard]] std::optional<Date> lastUpdateCheckDate() override {
    const PropertyList value = preferences().copyAppValue(kLastUpdateCheckKey, identifier());
    const auto seconds = value.root.date();
    constexpr double kMost = 9e9;
    if (!seconds || !(std::abs(*seconds) < kMost)) return std::nullopt;
    const double whole = std::floor(*seconds);
    return Date{static_cast<std::int64_t>(whole + kSecondsTo2001),
                static_cast<std::uint32_t>((*seconds - whole) * 1e9)};
  }

  void setDelegate(UpdaterDelegate* delegate) override { delegate_ = delegate; }

  void checkForUpdateInformation() override {
    if (check_ || !canCheck()) return;
    rememberCheck();
    std::vector<std::string> arguments = {"--feed", information(kFeedKey), "--current", information(kVersionKey)};
    if (const std::string version = information(kShortVersionKey); !version.empty()) {
      arguments.insert(arguments.end(), {"--current-short", version});
    }
    const PropertyList skipped = preferences().copyAppValue(kSkippedUpdateKey, identifier());
    if (const auto version = skipped.root.string(); version && !version->empty()) {
      arguments.insert(arguments.end(), {"--skipped", std::string(*version)});
    }
    checkedVersion_ = information(kVersionKey);
    check_ = UpdateCheckProcess::start(surroundings_.runLoop, surroundings_.checker, std::move(arguments),
                                       surroundings_.deadline,
                                       [this](const std::optional<std::string>& version) { finish(version); });
  }

 private:
  [[nodiscard]] PreferencesStore& preferences() const { return surroundings_.preferences; }

  /// Read anew each time: an upgrade may replace it while the agent runs.
  [[nodiscard]] std::string information(const char* key) const {
    const std::unique_ptr<Bundle> bundle = surroundings_.bundles.bundleWithPath(bundlePath_);
    return bundle ? bundle->stringForInfoDictionaryKey(key).value_or("") : "";
  }
  [[nodiscard]] std::string identifier() const { return information(kIdentifierKey); }

  /// Without the current version, every version of the feed would count as an update. The checker may not be installed.
  [[nodiscard]] bool canCheck() const {
    return !information(kFeedKey).empty() && !information(kVersionKey).empty() &&
           ::access(surroundings_.checker.c_str(), X_OK) == 0;
  }

  [[nodiscard]] double storedInterval() const {
    const PropertyList value = preferences().copyAppValue(kUpdateCheckIntervalKey, identifier());
    if (const auto real = value.root.real()) return std::isfinite(*real) ? *real : 0;
    const auto integer = preferences().appIntegerValue(kUpdateCheckIntervalKey, identifier());
    return integer ? static_cast<double>(*integer) : static_cast<double>(kUpdateCheckIntervalDefault);
  }

  void rememberCheck() {
    timespec now{};
    (void)::clock_gettime(CLOCK_REALTIME, &now);
    const auto tree = std::make_shared<PropertyListTree>();
    preferences().setAppValue(kLastUpdateCheckKey,
                              {tree, tree->makeDate(static_cast<double>(now.tv_sec) - kSecondsTo2001)}, identifier());
    // If the date is not saved, the next check comes sooner, which is harmless.
    (void)preferences().appSynchronize(identifier());
  }

  void finish(const std::optional<std::string>& version) {
    check_.reset();
    // If the application was upgraded during the check, the found version may be the installed one.
    if (information(kVersionKey) != checkedVersion_) return;
    if (version && delegate_ != nullptr) delegate_->updaterDidFindValidUpdate(*this, {*version});
  }

  const UpdaterSurroundings& surroundings_;
  std::string bundlePath_;
  std::string checkedVersion_;
  UpdaterDelegate* delegate_ = nullptr;
  std::unique_ptr<UpdateCheckProcess> check_;
};

}  // namespace

Updater& LinuxUpdaters::updaterForBundle(const std::string& bundlePath) {
  std::unique_ptr<Updater>& updater = updaters_[bundlePath];
  if (!updater) updater = std::make_unique<LinuxUpdater>(surroundings_, bundlePath);
  return *updater;
}

}  // namespace tarvel
