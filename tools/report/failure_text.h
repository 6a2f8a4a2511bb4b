#pragma once

#include <cstdint>
#include <string>

#include "platform/platform.h"
#include "tools/terminal/message.h"

namespace tarvel {

/// A failure of the engine or of a command, to be put in words.
struct Failure {
  std::int32_t code = 0;
  /// The file that it is about.
  std::string file;
  /// What the system said, or what is wrong with the contents; empty where nothing more is known.
  std::string reason;
};

/// The failure with this code of a file, with the reason where it is about the file's contents.
[[nodiscard]] Failure failureOf(const Platform& platform, std::int32_t code, const std::string& file);

/// The message of a failure: the engine's own sentence where that is true of the case, else what was found. It ends
/// with "Nothing was changed."
[[nodiscard]] Message messageOf(const Platform& platform, const Failure& failure);

/// What is wrong with the contents of a property list, with the line where one is known.
[[nodiscard]] std::string contentsError(const PropertyListError& error);

/// Looks at a file that could not be read, or is not a bookmarks file, for the reason: a folder, broken contents,
/// missing rights. Empty when there is nothing to tell.
[[nodiscard]] std::string reasonFor(const Platform& platform, const std::string& file);

}  // namespace tarvel
