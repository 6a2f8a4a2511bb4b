#include <cmath>

#include "agent/app_delegate.h"
#include "agent/helper_errors.h"

namespace tarvel {

namespace {

/// `date` plus `seconds`, or `date` itself if the sum overflows.
Date dateWithTimeIntervalSinceDate(double seconds, const Date& date) {
  constexpr double kMostSeconds = 9.0e15;
  constexpr std::uint32_t kBillion = 1'000'000'000;
  const double whole = std::floor(seconds);
  if (!(std::abs(static_cast<double>(date.seconds) + whole) < kMostSeconds)) return date;
  Date sum{date.seconds + static_cast<std::int64_t>(whole),
           date.nanoseconds + static_cast<std::uint32_t>((seconds - whole) * kBillion)};
  if (sum.nanoseconds >= kBillion) {
    ++sum.seconds;
    sum.nanoseconds -= kBillion;
  }
  return sum;
}

}  // namespace

void AppDelegate::initiateSparkleUpdateChecks() {
  Updater& updater = platform_.updaters.updaterForBundle(mainApplicationPath());
  if (!updater.automaticallyChecksForUpdates()) return;
  const double interval = updater.updateCheckInterval();
  std::unique_ptr<Timer> timer =
      platform_.runLoop.scheduledTimerWithTimeIntervalRepeats(interval, [this] { sparkleUpdateCheck(); });
  // Without an earlier check, the first one is due one interval from now, as the timer is already set.
  if (const std::optional<Date> last = updater.lastUpdateCheckDate(); last && timer) {
    timer->setFireDate(dateWithTimeIntervalSinceDate(interval, *last));
  }
  setUpdateTimer(std::move(timer));
}

void AppDelegate::sparkleUpdateCheck() {
  Updater& updater = platform_.updaters.updaterForBundle(mainApplicationPath());
  updater.setDelegate(this);
  updater.checkForUpdateInformation();
}

void AppDelegate::updaterDidFindValidUpdate(Updater& /*updater*/, const UpdateItem& /*update*/) {
  launchMainApplicationWithErrorCode(kHelperErrorUpdateFound);
}

bool AppDelegate::updaterShouldPromptForPermissionToCheckForUpdates(Updater& /*updater*/) { return false; }

}  // namespace tarvel
