#pragma once

#include <optional>
#include <string>

#include "platform/date.h"

namespace tarvel {

class Updater;

/// A version of an application that is newer than the one at hand.
struct UpdateItem {
  std::string versionString;
};

/// Hears what a check found. Calls come on the thread of the run loop.
class UpdaterDelegate {
 public:
  virtual ~UpdaterDelegate() = default;

  virtual void updaterDidFindValidUpdate(Updater& updater, const UpdateItem& update) = 0;
  /// Whether the user may be asked if updates may be looked for.
  [[nodiscard]] virtual bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& updater) = 0;
};

/// Looks for new versions of one application, as its user chose.
class Updater {
 public:
  virtual ~Updater() = default;

  /// False as long as nobody said yes, and where no check can be made or the interval is nothing.
  [[nodiscard]] virtual bool automaticallyChecksForUpdates() = 0;
  /// Seconds between checks, at least sixty.
  [[nodiscard]] virtual double updateCheckInterval() = 0;
  /// When the last check was begun. None when none ever was.
  [[nodiscard]] virtual std::optional<Date> lastUpdateCheckDate() = 0;

  /// Not owned. None with a null pointer.
  virtual void setDelegate(UpdaterDelegate* delegate) = 0;
  /// Begins a check that shows nothing and tells the delegate of an update. Every fault, and no update, mean silence.
  /// While a check is under way, another is not begun; nor is one of an application that names no feed or no version of
  /// its own. The delegate is never told before this returns.
  virtual void checkForUpdateInformation() = 0;
};

class Updaters {
 public:
  virtual ~Updaters() = default;

  /// The one updater of the application in the bundle at `bundlePath`; lives as long as this.
  [[nodiscard]] virtual Updater& updaterForBundle(const std::string& bundlePath) = 0;
};

}  // namespace tarvel
