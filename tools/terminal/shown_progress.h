#pragma once

#include <memory>
#include <string_view>

#include "platform/platform.h"
#include "tools/terminal/progress.h"

namespace tarvel {

/// Shows, while it exists, the progress of a piece of work: on the error output, if that is a terminal and the work
/// takes longer than half a second.
///
/// A thread of its own draws. It also receives the signals that end the program, such as SIGINT: it erases the line,
/// then raises the signal again. Start no other thread or process while one of these exists, and write to the terminal
/// only through the system log of platform().
class ShownProgress {
 public:
  /// `platform` is borrowed.
  explicit ShownProgress(const Platform& platform);
  ~ShownProgress();
  ShownProgress(const ShownProgress&) = delete;
  ShownProgress& operator=(const ShownProgress&) = delete;

  /// The observer of the stages; null when nothing is shown.
  [[nodiscard]] StageObserver* observer();
  /// The platform, with a log that erases the line first.
  [[nodiscard]] const Platform& platform() const { return platform_; }

 private:
  class Display;

  /// Erases the line before each log line.
  class Log final : public SystemLog {
   public:
    Log(SystemLog& log, Display* display) : log_(log), display_(display) {}
    void log(std::string_view message) override;

   private:
    SystemLog& log_;
    Display* display_;
  };

  std::unique_ptr<Display> display_;
  Log log_;
  Platform platform_;
};

}  // namespace tarvel
