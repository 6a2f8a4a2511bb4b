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

/// The name of a file in messages: its path, or “standard input”.
[[nodiscard]] std::string shownFile(const std::string& path);

/// The failure with this code of a file, with the reason where it is about the file's contents.
[[nodiscard]] Failure failureOf(const Platform& platform, std::int32_t code, const std::string& file);

/// The message of a failure: the engine's own sentences where they are true of the case, else what was found. It ends
/// with "Nothing was changed."
[[nodiscard]] Message messageOf(const Platform& platform, const Failure& failure);

/// Why what was read is not a property list: a folder, broken contents, with the line where one is known, missing
/// rights. Empty when it is one.
[[nodiscard]] std::string reasonOf(const Platform& platform, const FileReading& reading);

/// Reads a file that could not be read, or is not a bookmarks file, for the reason.
[[nodiscard]] std::string reasonFor(const Platform& platform, const std::string& file);

}  // namespace tarvel
