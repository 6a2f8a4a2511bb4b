#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "platform/date.h"

namespace tarvel {

/// The parts of a dated backup's name: "Bookmarks 2026-11-21 110203.417Z 5c0d1e2f.plist" was made at that instant in
/// UTC, so that names sort by time in every time zone; the digits at the end stand for the file it was made of.
struct BackupName {
  /// Whole milliseconds.
  Date time;
  /// Eight hexadecimal digits.
  std::string fileTag;

  friend bool operator==(const BackupName&, const BackupName&) = default;
};

/// An instant before 1970 or after 9999 is written as the nearest one in between.
[[nodiscard]] std::string textOf(const BackupName& name);
/// None for a name of any other form.
[[nodiscard]] std::optional<BackupName> backupNameFrom(std::string_view name);

/// The digits that stand for the bookmarks file at a path. Spellings of one path have the same digits; another path,
/// also one that leads to the same file by a link, has others.
[[nodiscard]] std::string tagOfFile(const std::string& path);

/// A millisecond later.
[[nodiscard]] Date nextMillisecond(const Date& date);

/// The same instant for programs: "2026-11-21T11:02:03.417Z".
[[nodiscard]] std::string utcText(const Date& date);

}  // namespace tarvel
