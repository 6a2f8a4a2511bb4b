#pragma once

#include <cstdint>

namespace tarvel {

/// The main application: it owns the settings and shows what the agent reports. Its identifier names the domain of the
/// settings.
inline constexpr const char* kMainApplicationIdentifier = "org.tarvel.Tarvel";

// The settings in the main application's domain: keys, and defaults for absent or unusable values.

/// Boolean, read at launch: whether the agent sorts automatically.
inline constexpr const char* kAutoSortModeKey = "AutoSortMode";
inline constexpr bool kAutoSortModeDefault = false;
/// Boolean, read by the host of the browsers' extension: whether it sorts automatically.
inline constexpr const char* kAutoSortBrowsersKey = "AutoSortBrowsers";
inline constexpr bool kAutoSortBrowsersDefault = false;
/// A full path. Read before every sort.
inline constexpr const char* kBookmarksFilenameKey = "BookmarksFilename";
inline constexpr const char* kBookmarksFilenameDefault = "~/Library/Safari/Bookmarks.plist";
/// Seconds between the last change and the sort, clamped to the two limits. Read at launch.
inline constexpr const char* kBookmarksUpdateLatencyKey = "BookmarksUpdateLatency";
inline constexpr std::int64_t kBookmarksUpdateLatencyDefault = 30;
inline constexpr std::int64_t kBookmarksUpdateLatencyLeast = 1;
inline constexpr std::int64_t kBookmarksUpdateLatencyMost = 300;
// Booleans, read before every sort.
inline constexpr const char* kFoldersAtTopKey = "FoldersAtTop";
inline constexpr bool kFoldersAtTopDefault = true;
inline constexpr const char* kRemoveDuplicatesKey = "RemoveDuplicates";
inline constexpr bool kRemoveDuplicatesDefault = true;
inline constexpr const char* kRenameSamenamedKey = "RenameSamenamed";
inline constexpr bool kRenameSamenamedDefault = true;
inline constexpr const char* kSortBookmarksBarKey = "SortBookmarksBar";
inline constexpr bool kSortBookmarksBarDefault = false;

// Update checks, read at launch.
inline constexpr const char* kAutomaticUpdateChecksKey = "SUEnableAutomaticChecks";
inline constexpr bool kAutomaticUpdateChecksDefault = false;
/// Seconds between two checks.
inline constexpr const char* kUpdateCheckIntervalKey = "SUScheduledCheckInterval";
inline constexpr std::int64_t kUpdateCheckIntervalDefault = 86'400;
inline constexpr std::int64_t kUpdateCheckIntervalLeast = 60;
inline constexpr std::int64_t kUpdateCheckIntervalMost = 315'360'000;

/// Integer, written by the agent: the pending error code. Absent if there is none.
inline constexpr const char* kLastHelperErrorKey = "LastHelperError";

}  // namespace tarvel
