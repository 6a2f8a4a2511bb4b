#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <stdexcept>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/memory/memory_file_manager.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {

/// Real files in a temporary folder, accessed as a user other than root, so that permissions apply.
struct LinuxFiles {
  TemporaryDirectory directory;
  LinuxFileManager manager;

  LinuxFiles() {
    constexpr uid_t kNobody = 65534;
    wasRoot_ = ::geteuid() == 0;
    if (wasRoot_ && (::chown(directory.path().c_str(), kNobody, kNobody) != 0 || ::seteuid(kNobody) != 0)) {
      throw std::runtime_error("cannot change to another user");
    }
  }
  ~LinuxFiles() {
    if (wasRoot_ && ::seteuid(0) != 0) std::abort();
  }
  LinuxFiles(const LinuxFiles&) = delete;
  LinuxFiles& operator=(const LinuxFiles&) = delete;

  [[nodiscard]] std::string path(const std::string& name) const { return directory.path(name); }
  void makeLink(const std::string& name, const std::string& target) const {
    ASSERT_EQ(::symlink(target.c_str(), path(name).c_str()), 0);
  }
  void setMode(const std::string& name, unsigned mode) const { ASSERT_EQ(::chmod(path(name).c_str(), mode), 0); }
  [[nodiscard]] unsigned mode(const std::string& name) const {
    struct stat status {};
    return ::stat(path(name).c_str(), &status) == 0 ? status.st_mode & 07777U : 0U;
  }
  [[nodiscard]] bool isLink(const std::string& name) const {
    struct stat status {};
    return ::lstat(path(name).c_str(), &status) == 0 && S_ISLNK(status.st_mode);
  }

 private:
  bool wasRoot_ = false;
};

struct MemoryFiles {
  MemoryFileManager manager;

  MemoryFiles() { manager.putFolder("/folder"); }
  [[nodiscard]] std::string path(const std::string& name) const { return "/folder/" + name; }
  void makeLink(const std::string& name, const std::string& target) { manager.putLink(path(name), target); }
  void setMode(const std::string& name, unsigned mode) { manager.setMode(path(name), mode); }
  [[nodiscard]] unsigned mode(const std::string& name) const { return manager.modeAt(path(name)).value_or(0); }
  [[nodiscard]] bool isLink(const std::string& name) const { return manager.isLink(path(name)); }
};

template <typename Setting>
struct FileManagerConformance : testing::Test {
  Setting setting;
  FileManager& manager = setting.manager;

  std::string path(const std::string& name) { return setting.path(name); }

  FileStatus write(const std::string& name, const std::string& bytes) {
    const Data data = Data::copyOf(bytes);
    return manager.writeDataToPath({{data.bytes()}, {}}, path(name));
  }
  void put(const std::string& name, const std::string& bytes) { ASSERT_TRUE(write(name, bytes).ok()); }

  std::string read(const std::string& name) {
    const FileReading reading = manager.contentsAtPath(path(name));
    EXPECT_TRUE(reading.status.ok()) << reading.status.reason;
    const auto bytes = reading.data.bytes();
    return {bytes.begin(), bytes.end()};
  }
  bool exists(const std::string& name) { return manager.fileExistsAtPath(path(name)); }
};

using FileManagerSettings = testing::Types<LinuxFiles, MemoryFiles>;

}  // namespace tarvel
