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

/// What the recorder recorded about its execution.
struct Notes {
  /// "pid", "session", "folder", "group", "SigBlk:", ...
  std::map<std::string, std::string> facts;
  std::vector<std::string> arguments;
  std::vector<std::string> descriptors;
  std::map<std::string, std::string> environment;
};

/// A temporary home folder without a bus or service manager, and a program to launch that records how it was executed.
/// The program ends with the test.
struct Launching : testing::Test, RealLoop {
  /// Much longer than anything should take, and much shorter than the libraries' own timeouts.
  static constexpr std::chrono::seconds kTooLong{8};

  Launching();
  ~Launching() override;

  /// The records of all executed recorders.
  [[nodiscard]] std::vector<Notes> notes() const;
  [[nodiscard]] Notes waitForNotes();
  /// The lines "KEY VALUE" of a file in the folder; empty without the file.
  [[nodiscard]] std::map<std::string, std::string> linesOf(const std::string& name) const;

  /// A copy of the recorder with this name.
  std::string program(const std::string& name) const;
  /// A bundle whose information names this executable, which need not exist.
  std::string bundle(const std::string& executable) const;
  void writeDesktopFile(const std::string& name, const std::string& entries) const;

  TemporaryDirectory directory;
  PlistSerialization serialization;
  LinuxWorkspace workspace{serialization, loop.get()};

 private:
  std::map<std::string, std::string> previousEnvironment_;
};

}  // namespace tarvel
