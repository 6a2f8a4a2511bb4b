#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "platform/linux/launch/linux_workspace.h"
#include "platform/plist/serialization.h"
#include "tests/support/linux_stream.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// How the recorder found itself executed.
struct Notes {
  /// "pid", "session", "folder", "group", "SigBlk:", ...
  std::map<std::string, std::string> facts;
  std::vector<std::string> arguments;
  std::vector<std::string> descriptors;
  std::map<std::string, std::string> environment;
};

/// A home in a temporary folder, without any bus or service manager unless the test brings one, and a program to launch
/// that notes how it was executed. It ends with the test.
struct Launching : testing::Test, RealLoop {
  /// Far beyond what anything is to take, and well below what the libraries would take by themselves.
  static constexpr std::chrono::seconds kTooLong{8};

  Launching();
  ~Launching() override;

  /// Of all the recorders that were executed.
  [[nodiscard]] std::vector<Notes> notes() const;
  [[nodiscard]] Notes waitForNotes();
  /// The lines "KEY VALUE" of a file in the folder; empty while there is none.
  [[nodiscard]] std::map<std::string, std::string> linesOf(const std::string& name) const;

  /// The recorder under a name of its own.
  std::string program(const std::string& name) const;
  /// A bundle whose information names this executable, which need not be there.
  std::string bundle(const std::string& executable) const;
  void writeDesktopFile(const std::string& name, const std::string& entries) const;

  TemporaryDirectory directory;
  PlistSerialization serialization;
  LinuxWorkspace workspace{serialization, loop.get()};

 private:
  std::map<std::string, std::string> previousEnvironment_;
};

}  // namespace tarvel
