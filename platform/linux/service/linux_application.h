#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/application.h"
#include "platform/linux/loop/linux_run_loop.h"
#include "platform/linux/service/instance_lock.h"
#include "platform/linux/service/own_program.h"
#include "platform/system_log.h"

namespace tarvel {

/// An application on a LinuxRunLoop. SIGTERM, SIGINT and SIGHUP terminate it in order: after the current callback,
/// before anything else that is due.
class LinuxApplication final : public Application {
 public:
  /// `runLoop` and `systemLog` are borrowed. `identifier` names the instance lock.
  LinuxApplication(LinuxRunLoop& runLoop, SystemLog& systemLog, std::string identifier,
                   OwnProgram program = OwnProgram());

  [[nodiscard]] int run(ApplicationDelegate& delegate) override;
  void terminate() override;
  bool restartIfReplaced() override;
  [[nodiscard]] bool isEndRequested() override;

 private:
  [[nodiscard]] bool takeLock();
  void watchSignals();

  LinuxRunLoop& runLoop_;
  SystemLog& systemLog_;
  std::string identifier_;
  std::optional<InstanceLock> lock_;
  std::vector<std::unique_ptr<LoopSource>> signals_;
  OwnProgram program_;
  ApplicationDelegate* delegate_ = nullptr;
  int status_ = 0;
  bool isTerminated_ = false;
};

}  // namespace tarvel
