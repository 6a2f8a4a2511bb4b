#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"
#include "platform/linux/files/file_place.h"

// A new file replaces the old one by an exchange of names, and the file that comes out may be a concurrent write of
// another program. Its temporary name therefore records what was expected: digests of the version that was read and of
// our own version. A file with such a name is removed only if it matches one of the two. Anything else is another
// program's save: the process that displaced it, or any later one, puts it back, or it stays under this name. Internal
// to platform/linux.
namespace tarvel {

/// The parts of a displaced file's name. Versions are digests.
struct DisplacedName {
  /// The file's original name.
  std::string target;
  /// The version that was read.
  std::string read;
  /// The version of the new file.
  std::string own;
};

/// A new name for a file that `own` displaces from `target`. Empty if no random number is available.
[[nodiscard]] std::string makeDisplacedName(const std::string& target, const FileVersion& read, const FileVersion& own);
/// None for any other name.
[[nodiscard]] std::optional<DisplacedName> parseDisplacedName(std::string_view name);
/// Whether the file was displaced from the name `target`.
[[nodiscard]] bool comesFrom(const DisplacedName& displaced, const std::string& target);

/// The outcome for a displaced file.
enum class Settlement {
  /// It was the version that was read, and was removed: the new file is in place.
  kReplaced,
  /// It, or something newer, is back in place; the new file was removed.
  kPutBack,
  /// It stays under its name. It may be another program's save that could not be put back (errno is set), or that was
  /// superseded by a newer one or may still have a writer (errno is 0).
  kKept,
};

/// Checks a displaced file and removes, restores or keeps it. The folder must be locked.
[[nodiscard]] Settlement settle(const FilePlace& place, const std::string& displaced);

/// Paths of other programs' saves that were displaced from `place` and kept.
[[nodiscard]] std::vector<std::string> keptSavesOf(const FilePlace& place);

}  // namespace tarvel
