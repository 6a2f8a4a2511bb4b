// Conformance of Workspace, RunningApplications and Notifier, for every implementation.

#include <gmock/gmock.h>

#include "platform/linux/dbus/linux_notifier.h"
#include "platform/linux/launch/linux_workspace.h"
#include "platform/linux/service/linux_running_applications.h"
#include "platform/memory/memory_notifier.h"
#include "platform/memory/memory_running_applications.h"
#include "platform/memory/memory_workspace.h"
#include "platform/plist/serialization.h"
#include "tests/support/child_process.h"
#include "tests/support/linux_stream.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

struct MemoryWorkspaceKind {
  MemoryWorkspaceKind() { workspace.setOffersUrl(false); }

  [[nodiscard]] static std::string program() { return "/bin/true"; }
  [[nodiscard]] std::string missing() {
    workspace.setMissing("/missing");
    return "/missing";
  }

  MemoryWorkspace workspace;
};

/// Without a service manager, which not every machine has.
struct LinuxWorkspaceKind {
  LinuxWorkspaceKind() {
    ::setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
    ::setenv("XDG_DATA_HOME", directory.path().c_str(), 1);
    ::setenv("XDG_DATA_DIRS", directory.path().c_str(), 1);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  }
  ~LinuxWorkspaceKind() {
    // The loop reaps what was launched.
    EXPECT_TRUE(real.turnUntil([] { return !hasChildren(); }));
    for (const char* name : {"XDG_RUNTIME_DIR", "XDG_DATA_HOME", "XDG_DATA_DIRS"}) ::unsetenv(name);
  }

  [[nodiscard]] static std::string program() { return "/bin/true"; }
  [[nodiscard]] std::string missing() const { return directory.path("missing"); }

  TemporaryDirectory directory;
  PlistSerialization serialization;
  RealLoop real;
  LinuxWorkspace workspace{serialization, real.loop.get()};
};

template <typename Kind>
struct WorkspaceConformance : testing::Test, Kind {};
using WorkspaceKinds = testing::Types<MemoryWorkspaceKind, LinuxWorkspaceKind>;
TYPED_TEST_SUITE(WorkspaceConformance, WorkspaceKinds);

TYPED_TEST(WorkspaceConformance, AnExistingProgramIsLaunched) {
  EXPECT_TRUE(this->workspace.launchApplication(this->program()));
}

TYPED_TEST(WorkspaceConformance, AMissingProgramIsNotLaunched) {
  EXPECT_FALSE(this->workspace.launchApplication(this->missing()));
  EXPECT_FALSE(this->workspace.launchApplicationAtUrlOptions(this->missing(), kWorkspaceLaunchDefault));
}

TYPED_TEST(WorkspaceConformance, AnEmptyPathIsNotLaunched) {
  EXPECT_FALSE(this->workspace.launchApplication(""));
  EXPECT_FALSE(this->workspace.launchApplicationAtUrlOptions("", kWorkspaceLaunchDefault));
  EXPECT_FALSE(this->workspace.launchAppWithBundleIdentifierOptions("", kWorkspaceLaunchDefault));
}

TYPED_TEST(WorkspaceConformance, AnUnavailableWayOfLaunchingFails) {
  EXPECT_FALSE(this->workspace.offersLaunchApplicationAtUrl());
  EXPECT_FALSE(this->workspace.launchApplicationAtUrlOptions(this->program(), kWorkspaceLaunchDefault));
}

TYPED_TEST(WorkspaceConformance, AnyPathCanBeAnnounced) {
  this->workspace.noteFileSystemChanged("/bin");
  this->workspace.noteFileSystemChanged("");
}

template <typename Body>
struct RunningApplicationsConformance : testing::Test {
  Body applications;
};
using RunningKinds = testing::Types<MemoryRunningApplications, LinuxRunningApplications>;
TYPED_TEST_SUITE(RunningApplicationsConformance, RunningKinds);

TYPED_TEST(RunningApplicationsConformance, AnApplicationThatDoesNotRunHasNoProcesses) {
  EXPECT_TRUE(this->applications.runningApplicationsWithBundleIdentifier("org.tarvel.Nobody").empty());
  EXPECT_TRUE(this->applications.runningApplicationsWithBundleIdentifier("").empty());
}

TYPED_TEST(RunningApplicationsConformance, ThisProcessIsAlwaysFoundAndCanBeActivated) {
  const auto self = this->applications.currentApplication();
  ASSERT_NE(self, nullptr);
  (void)self->activateWithOptions(kActivateIgnoringOtherApps);
}

struct MemoryNotifierKind {
  MemoryNotifierKind() { notifier.setWorks(false); }
  MemoryNotifier notifier;
};

struct LinuxNotifierKind {
  LinuxNotifierKind() {
    ::setenv("XDG_RUNTIME_DIR", directory.path().c_str(), 1);
    ::unsetenv("DBUS_SESSION_BUS_ADDRESS");
  }
  ~LinuxNotifierKind() { ::unsetenv("XDG_RUNTIME_DIR"); }
  TemporaryDirectory directory;
  LinuxNotifier notifier;
};

template <typename Kind>
struct NotifierConformance : testing::Test, Kind {};
using NotifierKinds = testing::Types<MemoryNotifierKind, LinuxNotifierKind>;
TYPED_TEST_SUITE(NotifierConformance, NotifierKinds);

TYPED_TEST(NotifierConformance, WithoutANotificationServiceItFails) {
  EXPECT_FALSE(this->notifier.notify("Tarvel", "text"));
  EXPECT_FALSE(this->notifier.notify("", ""));
}

}  // namespace
}  // namespace tarvel
