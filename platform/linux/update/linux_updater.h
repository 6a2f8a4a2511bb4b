#pragma once

#include <chrono>
#include <map>
#include <memory>
#include <string>

#include "platform/bundle.h"
#include "platform/linux/loop/linux_run_loop.h"
#include "platform/preferences_store.h"
#include "platform/updater.h"

namespace tarvel {

// The user's choices, in the settings of the main application.

/// Whether updates are looked for. Absent: no, as the agent never asks.
inline constexpr const char* kAutomaticUpdateChecksKey = "SUEnableAutomaticChecks";
/// Seconds between two checks; 0 or less turns them off.
inline constexpr const char* kUpdateCheckIntervalKey = "SUScheduledCheckInterval";
inline constexpr double kDefaultUpdateCheckInterval = 86400;
/// The date of the last check.
inline constexpr const char* kLastUpdateCheckKey = "SULastCheckTime";
/// The version that the user declined.
inline constexpr const char* kSkippedUpdateKey = "SUSkippedVersion";

/// What every updater of this process stands on. All of it is borrowed.
struct UpdaterSurroundings {
  LinuxRunLoop& runLoop;
  PreferencesStore& preferences;
  Bundles& bundles;
  /// The program that reads the feed; checks find nothing where it is missing.
  std::string checker;
  /// After this a check is killed. The checker itself gives up after a minute.
  std::chrono::milliseconds deadline{90'000};
};

/// Updaters that leave the network to a program of its own, started for each check and gone after it.
///
/// The user's choices are in the application's settings: "SUEnableAutomaticChecks", "SUScheduledCheckInterval" in
/// seconds, "SULastCheckTime", "SUSkippedVersion". The feed's address is "SUFeedURL" in the bundle's information. A
/// feed's internal versions are compared with the bundle's "CFBundleVersion", its versions for people with
/// "CFBundleShortVersionString".
class LinuxUpdaters final : public Updaters {
 public:
  explicit LinuxUpdaters(UpdaterSurroundings surroundings) : surroundings_(std::move(surroundings)) {}

  [[nodiscard]] Updater& updaterForBundle(const std::string& bundlePath) override;

 private:
  UpdaterSurroundings surroundings_;
  std::map<std::string, std::unique_ptr<Updater>> updaters_;
};

}  // namespace tarvel
