// Folders that this program creates are private, for any umask.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/files/managed_file.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/linux/service/instance_lock.h"
#include "platform/memory/memory_platform.h"
#include "platform/plist/serialization.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

struct PrivateFolders : testing::Test {
  TemporaryDirectory directory;

  PrivateFolders() : before_(::umask(0)) { EXPECT_EQ(::mkdir(directory.path("home").c_str(), 0755), 0); }
  ~PrivateFolders() override { (void)::umask(before_); }

  [[nodiscard]] unsigned mode(const std::string& name) const {
    struct stat status {};
    return ::stat(directory.path(name).c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
  }

  void expectPrivate(std::initializer_list<const char*> names) const {
    for (const char* name : names) EXPECT_EQ(mode(name), 0700U) << name;
    // Existing folders are unchanged.
    EXPECT_EQ(mode("home"), 0755U);
  }

 private:
  mode_t before_;
};

TEST_F(PrivateFolders, OfTheFileManager) {
  LinuxFileManager files;
  ASSERT_TRUE(files.createDirectoryAtPath(directory.path("home/.local/share/Tarvel")).ok());
  expectPrivate({"home/.local", "home/.local/share", "home/.local/share/Tarvel"});
}

TEST_F(PrivateFolders, OfTheSettings) {
  PlistSerialization serialization;
  MemorySystemLog log;
  LinuxPreferencesStore store(serialization, log, directory.path("home/.config"));
  const auto tree = std::make_shared<PropertyListTree>();
  store.setAppValue("Key", {tree, tree->makeInteger(1)}, "org.tarvel.Test");
  ASSERT_TRUE(store.appSynchronize("org.tarvel.Test"));
  expectPrivate({"home/.config", "home/.config/org.tarvel.Test"});
}

TEST_F(PrivateFolders, OfAutostartEntriesAndUnits) {
  ASSERT_TRUE(writeManagedFile(directory.path("home/.config/autostart/entry.desktop"), "text").ok());
  expectPrivate({"home/.config", "home/.config/autostart"});
}

TEST_F(PrivateFolders, OfTheInstanceLock) {
  const InstanceLock lock(directory.path("home/.config/org.tarvel.Test/helper.lock"));
  ASSERT_EQ(lock.state(), InstanceLock::State::kHeld);
  expectPrivate({"home/.config", "home/.config/org.tarvel.Test"});
}

}  // namespace
}  // namespace tarvel
