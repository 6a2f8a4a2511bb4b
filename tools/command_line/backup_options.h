#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace tarvel {

enum class BackupAction { kCreate, kList, kPrune };

/// Options about backups.
struct BackupOptions {
  BackupAction action = BackupAction::kCreate;
  /// prune: how many of the newest stay, whatever their age.
  std::optional<std::size_t> keep;
  /// prune: seconds; backups that are not older stay.
  std::optional<std::int64_t> olderThan;
  /// restore: the backup to put back, a path or (a part of) a name. Empty: the initial backup, which moves.
  std::string from;
  /// restore: do not ask.
  bool isAgreed = false;
};

/// Seconds of an age such as "90d": a number and h, d, w or y (of 365 days). None for anything else.
[[nodiscard]] std::optional<std::int64_t> secondsOfAge(const std::string& text);

}  // namespace tarvel
