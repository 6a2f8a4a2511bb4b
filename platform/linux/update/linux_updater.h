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

// Kept by the updater in the settings of the main application, beside the user's choices (settings/preference_keys.h).

/// The date of the last check.
inline constexpr const char* kLastUpdateCheckKey = "SULastCheckTime";
/// The version that the user declined.
inline constexpr const char* kSkippedUpdateKey = "SUSkippedVersion";

/// What all updaters of this process use. Borrowed.
struct UpdaterSurroundings {
  LinuxRunLoop& runLoop;
  PreferencesStore& preferences;
  Bundles& bundles;
  /// The program that reads the feed; without it no check is made.
  std::string checker;
  /// A check is killed after this time. The checker itself gives up after a minute.
  std::chrono::milliseconds deadline{90'000};
};

/// Updaters that run a separate program for each check, so that the agent needs no network code.
///
/// The feed's address is "SUFeedURL" in the bundle's Info.plist. A feed's internal versions are compared with
/// "CFBundleVersion", its short versions with "CFBundleShortVersionString".
class LinuxUpdaters final : public Updaters {
 public:
  explicit LinuxUpdaters(UpdaterSurroundings surroundings) : surroundings_(std::move(surroundings)) {}

  [[nodiscard]] Updater& updaterForBundle(const std::string& bundlePath) override;

 private:
  UpdaterSurroundings surroundings_;
  std::map<std::string, std::unique_ptr<Updater>> updaters_;
};

}  // namespace tarvel
