#pragma once

#include <optional>
#include <string>
#include <vector>

#include "platform/file_manager.h"
#include "tools/command_line/command_line.h"

namespace tarvel {

class Answer;

/// Where a page goes: a file, or standard output.
class PageOutput {
 public:
  /// Without a file of its own, a page that is to be opened goes into the user's cache folder. `files` is borrowed.
  PageOutput(FileManager& files, const CommandLine& line);

  /// Whether standard output is for the page alone.
  [[nodiscard]] bool isStandardOutput() const { return isStandardOutput_; }

  /// Why the page may not go there; no sentence when it may. A page never replaces any of `untouchable`, through any
  /// path or link. Of other files it replaces only an older page of the user's own, or an empty file, and no symbolic
  /// link.
  [[nodiscard]] Message refusal(const std::vector<std::string>& untouchable) const;

  /// Writes the page, whole or not at all, and opens it where that is wanted. Checks again what is at the path, and
  /// replaces exactly the file that it checked. False when the page was not written, or could not be opened; `answer`
  /// then has the reason.
  [[nodiscard]] bool deliver(const std::string& page, Answer& answer) const;

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
