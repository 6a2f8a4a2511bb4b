// Notifications over a real bus, and without one.

#include "platform/linux/dbus/linux_notifier.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include "platform/memory/memory_notifier.h"
#include "tests/support/session_bus.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

constexpr const char* kName = "org.freedesktop.Notifications";

struct Notifications : testing::Test {
  Notifications() { ::setenv("TARVEL_RECORD", directory.path().c_str(), 1); }
  ~Notifications() override { ::unsetenv("TARVEL_RECORD"); }

  TemporaryDirectory directory;
  LinuxNotifier notifier;
};

TEST_F(Notifications, TitleAndTextAreShownUnchanged) {
  SessionBus bus;
  bus.addService(kName, TARVEL_FAKE_NOTIFICATIONS);
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_TRUE(notifier.notify("Tarvel", "The file “a<b>&c” is\nnot a bookmarks file."));
  EXPECT_EQ(directory.read("notified"), "Tarvel\nTarvel\nThe file “a<b>&c” is\nnot a bookmarks file.");
}

TEST_F(Notifications, MarkupCharactersAreEscapedForServersWithMarkup) {
  SessionBus bus;
  bus.addService(kName, std::string(TARVEL_FAKE_NOTIFICATIONS) + " markup");
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_TRUE(notifier.notify("Tarvel", "“a<b>&c”"));
  EXPECT_EQ(directory.read("notified"), "Tarvel\nTarvel\n“a&lt;b&gt;&amp;c”");
}

TEST_F(Notifications, FailsWithoutANotificationServer) {
  ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  ::setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
  EXPECT_FALSE(notifier.notify("Tarvel", "text"));
  ::unsetenv("XDG_RUNTIME_DIR");
  SessionBus bus;
  bus.start();
  ASSERT_TRUE(bus.isUp());
  EXPECT_FALSE(notifier.notify("Tarvel", "text"));
}

}  // namespace
}  // namespace tarvel
