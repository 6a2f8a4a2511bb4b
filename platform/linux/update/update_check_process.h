#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/loop/linux_run_loop.h"

// Internal to platform/linux.
namespace tarvel {

/// One run of the checker. Killed when this is destroyed or the deadline passes.
class UpdateCheckProcess {
 public:
  /// Called once with the version that was found, or none. May destroy this.
  using Done = std::function<void(std::optional<std::string> version)>;

  /// Runs `program` for at most `deadline`. Null if it cannot be started.
  [[nodiscard]] static std::unique_ptr<UpdateCheckProcess> start(LinuxRunLoop& loop, const std::string& program,
                                                                 std::vector<std::string> arguments,
                                                                 std::chrono::milliseconds deadline, Done done);
  ~UpdateCheckProcess();
  UpdateCheckProcess(const UpdateCheckProcess&) = delete;
  UpdateCheckProcess& operator=(const UpdateCheckProcess&) = delete;

 private:
  explicit UpdateCheckProcess(Done done) : done_(std::make_shared<Done>(std::move(done))) {}

  [[nodiscard]] bool spawn(const std::string& program, std::vector<std::string> arguments);
  [[nodiscard]] bool attach(LinuxRunLoop& loop, std::chrono::milliseconds deadline);
  void read();
  void finish(int status);

  std::shared_ptr<Done> done_;
  pid_t process_ = 0;
  UniqueFd output_;
  std::string text_;
  std::unique_ptr<LoopSource> outputSource_;
  std::unique_ptr<LoopSource> childSource_;
  std::unique_ptr<LoopSource> deadline_;
};

}  // namespace tarvel
