#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/file_manager.h"
#include "platform/linux/files/file_place.h"

// A new file takes the old one's place by an exchange of names, and what comes out may be a save that another program
// made at the last instant. So it comes out under a name that says what was expected: which file was read, and which
// one is ours. A file with such a name is removed only if it is one of these two, unchanged. Anything else is another
// program's save: it goes back to its place, by the process that displaced it or by any later one, or it stays under
// this name. Internal to platform/linux.
namespace tarvel {

/// What the name of a displaced file says, as digests.
struct DisplacedName {
  /// The name that the file had.
  std::string target;
  /// The version that was read and was to be replaced.
  std::string read;
  /// The version of the new file.
  std::string own;
};

/// A new name for what `own` displaces from `target`. Empty when no random number is to be had.
[[nodiscard]] std::string makeDisplacedName(const std::string& target, const FileVersion& read, const FileVersion& own);
/// None for any other name.
[[nodiscard]] std::optional<DisplacedName> parseDisplacedName(std::string_view name);
/// Whether a displaced file with this name came from the place with the name `target`.
[[nodiscard]] bool comesFrom(const DisplacedName& displaced, const std::string& target);

/// What became of the file that was displaced.
enum class Settlement {
  /// It was what had been read, and is gone: the new file has the place.
  kReplaced,
  /// It is in its place again, or something newer is; the new file is gone.
  kPutBack,
  /// It stays under its name. It may be another program's save, and errno says why it could not be put back; 0 when a
  /// newer save has its place, or when a writer may still have it open.
  kKept,
};

/// Looks at a displaced file and does what its name and its version ask for. The folder must be locked.
[[nodiscard]] Settlement settle(const FilePlace& place, const std::string& displaced);

/// The paths of other programs' saves that came from the place `place` and still lie under such names.
[[nodiscard]] std::vector<std::string> keptSavesOf(const FilePlace& place);

}  // namespace tarvel
