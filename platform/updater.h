#pragma once

#include <optional>
#include <string>

#include "platform/date.h"

namespace tarvel {

class Updater;

/// A newer version of an application.
struct UpdateItem {
  std::string versionString;
};

/// Receives results of update checks, on the thread of the run loop.
class UpdaterDelegate {
 public:
  virtual ~UpdaterDelegate() = default;

  virtual void updaterDidFindValidUpdate(Updater& updater, const UpdateItem& update) = 0;
  /// Whether the user may be asked for permission to check for updates.
  [[nodiscard]] virtual bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& updater) = 0;
};

/// Checks for new versions of one application, according to the user's settings.
class Updater {
 public:
  virtual ~Updater() = default;

  /// False until the user has agreed, if checks are impossible, or if the interval is 0 or less.
  [[nodiscard]] virtual bool automaticallyChecksForUpdates() = 0;
  /// Seconds between checks, at least 60.
  [[nodiscard]] virtual double updateCheckInterval() = 0;
  /// When the last check began; none before the first.
  [[nodiscard]] virtual std::optional<Date> lastUpdateCheckDate() = 0;

  /// Borrowed; null for none.
  virtual void setDelegate(UpdaterDelegate* delegate) = 0;
  /// Starts a silent check that reports an update to the delegate. Failures and the absence of an update are not
  /// reported. No effect while a check is running, or for an application without a feed or version. The delegate is
  /// never called before this returns.
  virtual void checkForUpdateInformation() = 0;
};

class Updaters {
 public:
  virtual ~Updaters() = default;

  /// The updater of the application at `bundlePath`; lives as long as this.
  [[nodiscard]] virtual Updater& updaterForBundle(const std::string& bundlePath) = 0;
};

}  // namespace tarvel
