#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/file_manager.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

/// Where a page goes: a file, or standard output.
class PageOutput {
 public:
  /// `line` tells the place; "-" is standard output, and a page that is to be opened and has no file goes into the
  /// user's cache folder. `files` is borrowed.
  PageOutput(FileManager& files, const CommandLine& line);

  /// Whether standard output is for the page alone.
  [[nodiscard]] bool isStandardOutput() const { return isStandardOutput_; }

  /// Whether the page may go there: not in place of any of `untouchable` (through whatever path or link), and in place
  /// of another file only where that is an older page, or empty, and the user's own. A symbolic link is refused, and so
  /// is a path that cannot be looked at. Complains to the error output where it may not.
  [[nodiscard]] bool isAllowed(const std::vector<std::string>& untouchable) const;

  /// Writes the page, whole or not at all, opens it where that is wanted, and says so on standard output (on the error
  /// output where it goes wrong). Checks again what is at the path, and replaces exactly the file that it checked.
  /// False when the page was not written, or could not be opened.
  [[nodiscard]] bool deliver(const std::string& page) const;

 private:
  /// What is at the path now.
  struct Occupant {
    /// Of an older page, or of an empty file. None, without a refusal: nothing is there.
    std::optional<FileVersion> version;
    /// Why a page may not go there.
    std::string refusal;
  };

  [[nodiscard]] Occupant occupant() const;
  [[nodiscard]] FileStatus write(const std::string& page) const;

  FileManager& files_;
  std::string path_;
  bool isStandardOutput_;
  bool isOpened_;
};

/// Starts the program that opens a file as the user's desktop does, and does not wait for it. 0, or an errno value.
[[nodiscard]] int openOnDesktop(const std::string& path);

}  // namespace tarvel
