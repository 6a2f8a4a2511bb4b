#include "agent/browser_refresh.h"

#include "engine/value_coercion.h"
#include "platform/text_components.h"

namespace tarvel {

namespace {

constexpr const char* kSafariIdentifier = "com.apple.Safari";
constexpr const char* kSafariPath = "/Applications/Safari.app";
constexpr const char* kVersionKey = "CFBundleShortVersionString";
constexpr const char* kSafariPreferences = "~/Library/Preferences/com.apple.Safari.plist";
constexpr const char* kShowFavoritesBarKey = "ShowFavoritesBar";
constexpr std::chrono::milliseconds kPause{100};

bool safariVersionChecked = false;
bool cachedSafariVersionAnswer = false;

/// 5.1 is the last old version, 5.1.1 the first new one.
bool isOldVersion(std::string_view version) {
  const std::vector<std::string> components = componentsSeparatedBy(version, '.');
  const auto component = [&](std::size_t index) {
    return index < components.size() ? intValueOfText(components[index]) : 0;
  };
  const std::int32_t major = component(0);
  const std::int32_t minor = component(1);
  if (major != 5) return major < 5;
  return minor <= 0 || (minor == 1 && component(2) <= 0);
}

bool findVersionNeedsRefresh(Bundles& bundles) {
  const std::unique_ptr<Bundle> safari = bundles.bundleWithPath(kSafariPath);
  if (!safari) return true;
  const std::optional<std::string> version = safari->stringForInfoDictionaryKey(kVersionKey);
  return !version || isOldVersion(*version);
}

}  // namespace

void refreshSafariAfterSort(const AgentPlatform& platform) {
  const auto running = platform.runningApplications.runningApplicationsWithBundleIdentifier(kSafariIdentifier);
  if (running.empty()) return;
  if (!safariVersionNeedsRefresh(platform.bundles)) return;
  if (!safariShowsFavoritesBar(platform.sorting)) return;
  activateApplicationsThenSelf(platform, running);
}

bool safariVersionNeedsRefresh(Bundles& bundles) {
  if (!safariVersionChecked) {
    cachedSafariVersionAnswer = findVersionNeedsRefresh(bundles);
    safariVersionChecked = true;
  }
  return cachedSafariVersionAnswer;
}

bool safariShowsFavoritesBar(const Platform& platform) {
  const std::string path = platform.fileManager.stringByExpandingTildeInPath(kSafariPreferences);
  if (!platform.fileManager.fileExistsAtPath(path)) return true;
  // An unreadable file is parsed as empty data, which fails like malformed data.
  const FileReading contents = platform.fileManager.contentsAtPath(path);
  const PropertyListReading reading =
      platform.propertyLists.propertyListFromData(contents.status.ok() ? contents.data : Data());
  if (reading.error) {
    // A failed parser does not set the format, which stays zero.
    platform.systemLog.log("Could not read Safari‘s preferences: " + reading.error->description + ", format: 0");
    return true;
  }
  return boolValue(reading.list.root.dictionary().get(kShowFavoritesBarKey));
}

void activateApplicationsThenSelf(const AgentPlatform& platform,
                                  std::span<const std::shared_ptr<RunningApplication>> applications) {
  const std::shared_ptr<RunningApplication> self = platform.runningApplications.currentApplication();
  for (const auto& application : applications) application->activateWithOptions(kActivateIgnoringOtherApps);
  platform.sorting.clock.sleepFor(kPause);
  self->activateWithOptions(kActivateIgnoringOtherApps);
}

void resetSafariVersionAnswer() {
  safariVersionChecked = false;
  cachedSafariVersionAnswer = false;
}

}  // namespace tarvel
