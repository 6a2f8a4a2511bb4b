// Conformance of Application, for every implementation.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/child_process.h"
#include "tests/support/loop_kinds.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;

class RecordingDelegate final : public ApplicationDelegate {
 public:
  void applicationDidFinishLaunching() override {
    told.emplace_back("launched");
    if (atLaunch) atLaunch();
  }
  void applicationWillTerminate() override {
    told.emplace_back("will terminate");
    if (atEnd) atEnd();
  }

  std::vector<std::string> told;
  std::function<void()> atLaunch;
  std::function<void()> atEnd;
};

struct MemoryApplicationKind : MemoryLoopKind {
  MemoryApplication application{loop};

  void startOther() { application.setOtherInstanceRuns(); }
};

struct LinuxApplicationKind : LinuxLoopKind {
  LinuxApplicationKind() { ::setenv("XDG_CONFIG_HOME", directory.path().c_str(), 1); }
  ~LinuxApplicationKind() { ::unsetenv("XDG_CONFIG_HOME"); }

  void startOther() { other.emplace(instanceLockPath("org.tarvel.Test")); }

  TemporaryDirectory directory;
  MemorySystemLog log;
  LinuxApplication application{loop, log, "org.tarvel.Test"};
  std::optional<InstanceLock> other;
};

template <typename Kind>
struct ApplicationConformance : testing::Test, Kind {
  void later(double seconds, std::function<void()> action) {
    this->loop.performSelectorWithObjectAfterDelay(this, "later", nullptr, std::move(action), seconds);
  }

  RecordingDelegate delegate;
};

using ApplicationKinds = testing::Types<MemoryApplicationKind, LinuxApplicationKind>;
TYPED_TEST_SUITE(ApplicationConformance, ApplicationKinds);

TYPED_TEST(ApplicationConformance, TheDelegateIsCalledAtLaunchAndAtTheEndAndTheStatusIsZero) {
  this->delegate.atLaunch = [this] { this->later(0.005, [this] { this->application.terminate(); }); };
  EXPECT_EQ(this->application.run(this->delegate), 0);
  EXPECT_THAT(this->delegate.told, ElementsAre("launched", "will terminate"));
}

TYPED_TEST(ApplicationConformance, TerminatingDuringLaunchEndsBeforeTheLoopRuns) {
  this->delegate.atLaunch = [this] {
    this->later(0, [this] { this->delegate.told.emplace_back("too late"); });
    this->application.terminate();
    this->delegate.told.emplace_back("end of launch");
  };
  EXPECT_EQ(this->application.run(this->delegate), 0);
  EXPECT_THAT(this->delegate.told, ElementsAre("launched", "will terminate", "end of launch"));
}

TYPED_TEST(ApplicationConformance, NothingIsDeliveredAfterTheEnd) {
  this->delegate.atLaunch = [this] {
    this->later(0, [this] { this->application.terminate(); });
    this->later(0, [this] { this->delegate.told.emplace_back("too late"); });
  };
  this->delegate.atEnd = [this] { this->later(0, [this] { this->delegate.told.emplace_back("far too late"); }); };
  EXPECT_EQ(this->application.run(this->delegate), 0);
  EXPECT_THAT(this->delegate.told, ElementsAre("launched", "will terminate"));
}

TYPED_TEST(ApplicationConformance, ASecondTerminationDoesNothing) {
  this->delegate.atLaunch = [this] {
    this->application.terminate();
    this->application.terminate();
  };
  this->delegate.atEnd = [this] { this->application.terminate(); };
  EXPECT_EQ(this->application.run(this->delegate), 0);
  EXPECT_THAT(this->delegate.told, ElementsAre("launched", "will terminate"));
}

TYPED_TEST(ApplicationConformance, TerminatingBeforeItRunsDoesNothing) {
  this->application.terminate();
  this->delegate.atLaunch = [this] { this->later(0, [this] { this->application.terminate(); }); };
  EXPECT_EQ(this->application.run(this->delegate), 0);
  EXPECT_THAT(this->delegate.told, ElementsAre("launched", "will terminate"));
}

TYPED_TEST(ApplicationConformance, AnEndIsPendingOnlyAfterARequest) {
  this->delegate.atLaunch = [this] {
    EXPECT_FALSE(this->application.isEndRequested());
    this->application.terminate();
    EXPECT_TRUE(this->application.isEndRequested());
  };
  EXPECT_EQ(this->application.run(this->delegate), 0);
}

TYPED_TEST(ApplicationConformance, WithAnotherInstanceRunningItExitsWithZeroAndCallsNoDelegate) {
  this->startOther();
  EXPECT_EQ(this->application.run(this->delegate), 0);
  EXPECT_THAT(this->delegate.told, testing::IsEmpty());
}

// Linux only.

struct LinuxApplicationTest : ApplicationConformance<LinuxApplicationKind> {};

TEST_F(LinuxApplicationTest, EachTerminationSignalTerminatesIt) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    LinuxApplicationKind one;
    RecordingDelegate told;
    told.atLaunch = [&] {
      one.loop.performSelectorWithObjectAfterDelay(
          &one, "signal", nullptr, [signal] { ::raise(signal); }, 0.001);
    };
    EXPECT_EQ(one.application.run(told), 0);
    EXPECT_THAT(told.told, ElementsAre("launched", "will terminate")) << signal;
  }
}

TEST_F(LinuxApplicationTest, ASignalDuringLaunchWaitsForItsEnd) {
  delegate.atLaunch = [this] {
    ::raise(SIGTERM);
    delegate.told.emplace_back("end of launch");
  };
  EXPECT_EQ(application.run(delegate), 0);
  EXPECT_THAT(delegate.told, ElementsAre("launched", "end of launch", "will terminate"));
}

TEST_F(LinuxApplicationTest, ASignalDuringACallbackRunsBeforeDueRequests) {
  delegate.atLaunch = [this] {
    later(0, [this] {
      ::raise(SIGTERM);
      delegate.told.emplace_back("end of callback");
    });
    later(0, [this] { delegate.told.emplace_back("too late"); });
  };
  EXPECT_EQ(application.run(delegate), 0);
  EXPECT_THAT(delegate.told, ElementsAre("launched", "end of callback", "will terminate"));
}

TEST_F(LinuxApplicationTest, ACallbackSeesAPendingTermination) {
  for (const int signal : {SIGTERM, SIGINT, SIGHUP}) {
    LinuxApplicationKind one;
    RecordingDelegate told;
    told.atLaunch = [&] {
      EXPECT_FALSE(one.application.isEndRequested());
      ::raise(signal);
      EXPECT_TRUE(one.application.isEndRequested()) << signal;
      told.told.emplace_back("end of callback");
    };
    EXPECT_EQ(one.application.run(told), 0);
    EXPECT_THAT(told.told, ElementsAre("launched", "end of callback", "will terminate"));
  }
}

TEST_F(LinuxApplicationTest, SimultaneousSignalsTerminateItInOrder) {
  const int answer = inChild([] {
    int status = 1;
    {
      LinuxApplicationKind one;
      RecordingDelegate told;
      told.atLaunch = [] {
        for (const int signal : {SIGTERM, SIGHUP, SIGINT}) (void)::raise(signal);
      };
      told.atEnd = [] { (void)::raise(SIGTERM); };
      status = one.application.run(told) + static_cast<int>(told.told.size()) - 2;
    }
    // The loop is gone: a signal left pending must not end the process.
    return status;
  });
  EXPECT_EQ(answer, 0);
}

TEST_F(LinuxApplicationTest, AWriteBeyondTheFileSizeLimitFailsWithoutEndingTheProcess) {
  const std::string path = directory.path("f");
  const int answer = inChild([&] {
    LinuxApplicationKind one;
    RecordingDelegate told;
    int code = 0;
    told.atLaunch = [&] {
      const rlimit limit{100, 100};
      (void)::setrlimit(RLIMIT_FSIZE, &limit);
      const UniqueFd fd(::open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
      const std::string bytes(200, 'x');
      if (::pwrite(fd.get(), bytes.data(), bytes.size(), 100) < 0) code = errno;
      one.application.terminate();
    };
    return one.application.run(told) == 0 ? code : -1;
  });
  EXPECT_EQ(answer, EFBIG);
}

TEST_F(LinuxApplicationTest, ASecondInstanceIsLogged) {
  startOther();
  EXPECT_EQ(application.run(delegate), 0);
  EXPECT_THAT(log.lines(), ElementsAre("TarvelHelper is already running for this user, terminating."));
}

TEST_F(LinuxApplicationTest, RunsAndLogsIfTheLockCannotBeCreated) {
  ::setenv("XDG_CONFIG_HOME", "/proc/nowhere", 1);
  delegate.atLaunch = [this] { application.terminate(); };
  EXPECT_EQ(application.run(delegate), 0);
  EXPECT_THAT(delegate.told, ElementsAre("launched", "will terminate"));
  ASSERT_EQ(log.lines().size(), 1U);
  EXPECT_THAT(log.lines()[0], testing::HasSubstr("Could not make sure that no other TarvelHelper is running"));
}

TEST_F(LinuxApplicationTest, TheLockIsBesideTheSettingsInAPrivateFolder) {
  ::setenv("XDG_CONFIG_HOME", directory.path("config").c_str(), 1);
  const std::string path = instanceLockPath("org.tarvel.Test");
  EXPECT_EQ(path, directory.path("config/org.tarvel.Test/helper.lock"));
  std::optional<pid_t> holder;
  delegate.atLaunch = [&] {
    holder = holderOfInstanceLock(path);
    application.terminate();
  };
  EXPECT_EQ(application.run(delegate), 0);
  EXPECT_EQ(holder, ::getpid());
  namespace fs = std::filesystem;
  EXPECT_EQ(fs::status(directory.path("config/org.tarvel.Test")).permissions(), fs::perms::owner_all);
}

TEST(InstanceLockTest, NeverWritesToAFileThatIsNotALock) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("helper.lock");
  directory.write("mine", "keep");
  ASSERT_EQ(::link(directory.path("mine").c_str(), path.c_str()), 0);
  EXPECT_EQ(InstanceLock(path).state(), InstanceLock::State::kUnavailable);
  EXPECT_EQ(directory.read("mine"), "keep");
  ASSERT_EQ(::unlink(path.c_str()), 0);
  ASSERT_EQ(::symlink("mine", path.c_str()), 0);
  EXPECT_EQ(InstanceLock(path).state(), InstanceLock::State::kUnavailable);
  EXPECT_EQ(directory.read("mine"), "keep");
  if (::geteuid() != 0) GTEST_SKIP() << "only root can give a file away";
  ASSERT_EQ(::unlink(path.c_str()), 0);
  directory.write("helper.lock", "another user's");
  constexpr unsigned kOther = 64002;
  ASSERT_EQ(::chown(path.c_str(), kOther, kOther), 0);
  EXPECT_EQ(InstanceLock(path).state(), InstanceLock::State::kUnavailable);
  EXPECT_EQ(directory.read("helper.lock"), "another user's");
}

TEST_F(LinuxApplicationTest, TheLockDoesNotDependOnTheRuntimeFolder) {
  ::unsetenv("XDG_RUNTIME_DIR");
  const std::string path = instanceLockPath("org.tarvel.Test");
  ::setenv("XDG_RUNTIME_DIR", directory.path("runtime").c_str(), 1);
  EXPECT_EQ(instanceLockPath("org.tarvel.Test"), path);
  std::filesystem::create_directory(directory.path("runtime"));
  EXPECT_EQ(instanceLockPath("org.tarvel.Test"), path);
  startOther();
  // As at the end of a session.
  std::filesystem::remove(directory.path("runtime"));
  std::filesystem::create_directory(directory.path("runtime"));
  EXPECT_EQ(application.run(delegate), 0);
  EXPECT_THAT(delegate.told, testing::IsEmpty());
  ::unsetenv("XDG_RUNTIME_DIR");
}

TEST(InstanceLockTest, ALockIsFreeOnceItsHolderHasEnded) {
  const TemporaryDirectory directory;
  const std::string path = directory.path("lock");
  EXPECT_EQ(holderOfInstanceLock(path), std::nullopt);
  {
    const InstanceLock lock(path);
    EXPECT_EQ(lock.state(), InstanceLock::State::kHeld);
    EXPECT_EQ(holderOfInstanceLock(path), ::getpid());
    EXPECT_EQ(InstanceLock(path).state(), InstanceLock::State::kHeldByOther);
  }
  EXPECT_EQ(holderOfInstanceLock(path), std::nullopt);
  EXPECT_EQ(InstanceLock(path).state(), InstanceLock::State::kHeld);
}

}  // namespace
}  // namespace tarvel
