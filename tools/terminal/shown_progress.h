#pragma once

#include <memory>
#include <string_view>

#include "platform/platform.h"
#include "tools/terminal/progress.h"

namespace tarvel {

/// Shows, for as long as it lives, how far a piece of work has come: on the error output, if that is a terminal and the
/// work lasts. Else it does nothing at all.
///
/// A thread of its own draws, since nothing need happen in the working one for seconds. It also takes what would end
/// the program, as Ctrl-C does: removes the line, and lets the signal do its work then. Make no other thread and no
/// process while one of these lives, and write nothing to the terminal but through systemLog().
class ShownProgress {
 public:
  /// `platform` is borrowed.
  explicit ShownProgress(const Platform& platform);
  ~ShownProgress();
  ShownProgress(const ShownProgress&) = delete;
  ShownProgress& operator=(const ShownProgress&) = delete;

  /// Whom to tell; null when nothing is shown.
  [[nodiscard]] StageObserver* observer();
  /// The platform, its log minding the line.
  [[nodiscard]] const Platform& platform() const { return platform_; }

 private:
  class Display;

  /// Lines of the log take the place of the line.
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
