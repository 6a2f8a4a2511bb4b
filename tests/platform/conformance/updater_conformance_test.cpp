// Conformance of Updater, for every implementation.

#include <gmock/gmock.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <ctime>
#include <filesystem>
#include <functional>
#include <limits>
#include <utility>

#include "platform/linux/update/linux_updater.h"
#include "platform/memory/memory_bundles.h"
#include "platform/memory/memory_preferences_store.h"
#include "platform/memory/memory_updater.h"
#include "tests/support/child_process.h"
#include "tests/support/linux_stream.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
namespace fs = std::filesystem;

constexpr const char* kBundle = "/A/Main.app";
constexpr const char* kOther = "/B/Other.app";
constexpr const char* kFeedless = "/C/Feedless.app";
constexpr const char* kVersionless = "/D/Versionless.app";
constexpr std::array kBundles = {kBundle, kOther, kFeedless, kVersionless};
constexpr const char* kUpdaterDomain = "org.tarvel.Test";

class RecordingUpdaterDelegate final : public UpdaterDelegate {
 public:
  void updaterDidFindValidUpdate(Updater& /*updater*/, const UpdateItem& update) override {
    found.push_back(update.versionString);
    if (hook) hook();
  }
  [[nodiscard]] bool updaterShouldPromptForPermissionToCheckForUpdates(Updater& /*updater*/) override {
    ++questions;
    return false;
  }

  std::vector<std::string> found;
  std::function<void()> hook;
  int questions = 0;
};

struct MemoryUpdaterKind {
  MemoryUpdaterKind() { describe(kBundle, "https://updates.example/feed", "1.0"); }

  /// Sets the information of a bundle; empty for none.
  void describe(const std::string& path, const std::string& feed, const std::string& version) {
    updaters.at(path).setFeed(feed);
    updaters.at(path).setVersion(version);
  }
  void offer(const std::string& version) { offered = version; }
  void want(bool checks, double interval) {
    for (const char* path : kBundles) {
      updaters.at(path).setAutomaticallyChecks(checks);
      updaters.at(path).setInterval(interval);
    }
  }
  void remember(const Date& date) { updaters.at(kBundle).setLastCheckDate(date); }
  /// Further checks end with finishCheck() only.
  static void hold() {}
  /// Finishes the running check.
  void finishCheck() { updaters.at(kBundle).finishCheck(offered.empty() ? std::nullopt : std::optional(offered)); }
  [[nodiscard]] bool isChecking() {
    return std::ranges::any_of(kBundles, [this](const char* path) { return updaters.at(path).isChecking(); });
  }
  [[nodiscard]] std::size_t checkCount() {
    std::size_t count = 0;
    for (const char* path : kBundles) count += updaters.at(path).checks();
    return count;
  }
  [[nodiscard]] Date now() const { return time.wallClock(); }

  VirtualTime time;
  MemoryUpdaters updaters{time};
  std::string offered;
};

/// Executes a small script as the checker.
struct LinuxUpdaterKind {
  LinuxUpdaterKind() {
    describe(kBundle, "https://updates.example/feed", "100");
    bundles.at(kBundle).setInfo("CFBundleShortVersionString", "1.0");
    script("exit 1");
  }

  void describe(const std::string& path, const std::string& feed, const std::string& version) {
    MemoryBundle& bundle = bundles.at(path);
    bundle.setInfo("CFBundleIdentifier", kUpdaterDomain);
    bundle.setInfo("CFBundleVersion", version);
    bundle.setInfo("SUFeedURL", feed);
  }
  void script(const std::string& body) const {
    const std::string path = directory.path("checker");
    fs::remove(path);
    directory.write("checker", "#!/bin/sh\necho \"$@\" >> \"" + directory.path("calls") + "\"\n" + wait + body + "\n");
    fs::permissions(path, fs::perms::owner_all);
  }
  void offer(const std::string& version) const { script("echo " + version); }
  void want(bool checks, double interval) {
    preferences.setBoolean("SUEnableAutomaticChecks", checks, kUpdaterDomain);
    const auto tree = std::make_shared<PropertyListTree>();
    preferences.setFlushedValue("SUScheduledCheckInterval", {tree, tree->makeReal(interval)}, kUpdaterDomain);
  }
  void remember(const Date& date) {
    const auto tree = std::make_shared<PropertyListTree>();
    preferences.setFlushedValue("SULastCheckTime",
                                {tree, tree->makeDate(static_cast<double>(date.seconds) - 978307200)}, kUpdaterDomain);
  }
  void hold() {
    wait = "while [ ! -e \"" + directory.path("go") + "\" ]; do sleep 0.01; done\n";
    script("exit 1");
  }
  void finishCheck() {
    // Until the script was executed and reaped.
    if (!wait.empty()) directory.write("go", "");
    (void)real.turnUntil([&] { return checkCount() > 0 && !isChecking(); });
    fs::remove(directory.path("go"));
  }
  [[nodiscard]] static bool isChecking() { return hasChildren(); }
  [[nodiscard]] std::size_t checkCount() const {
    std::ifstream file(directory.path("calls"));
    std::size_t count = 0;
    for (std::string line; std::getline(file, line);) ++count;
    return count;
  }
  [[nodiscard]] static Date now() { return {std::time(nullptr), 0}; }

  TemporaryDirectory directory;
  RealLoop real;
  MemoryBundles bundles;
  MemoryPreferencesStore preferences;
  std::string wait;
  LinuxUpdaters updaters{{*real.loop, preferences, bundles, directory.path("checker")}};
};

template <typename Kind>
struct UpdaterConformance : testing::Test, Kind {
  Updater& updater = this->updaters.updaterForBundle(kBundle);
  RecordingUpdaterDelegate delegate;

  void check() {
    updater.setDelegate(&delegate);
    updater.checkForUpdateInformation();
    this->finishCheck();
  }
};

using UpdaterKinds = testing::Types<MemoryUpdaterKind, LinuxUpdaterKind>;
TYPED_TEST_SUITE(UpdaterConformance, UpdaterKinds);

TYPED_TEST(UpdaterConformance, ABundleHasOneUpdater) {
  EXPECT_EQ(&this->updaters.updaterForBundle(kBundle), &this->updater);
  EXPECT_NE(&this->updaters.updaterForBundle(kOther), &this->updater);
}

TYPED_TEST(UpdaterConformance, ChecksAreOffByDefault) { EXPECT_FALSE(this->updater.automaticallyChecksForUpdates()); }

TYPED_TEST(UpdaterConformance, TheSettingsOfTheUserAreRead) {
  this->want(true, 7200);
  EXPECT_TRUE(this->updater.automaticallyChecksForUpdates());
  EXPECT_EQ(this->updater.updateCheckInterval(), 7200);
  this->want(false, 7200);
  EXPECT_FALSE(this->updater.automaticallyChecksForUpdates());
}

TYPED_TEST(UpdaterConformance, TheLastCheckIsADateOrAbsent) {
  EXPECT_EQ(this->updater.lastUpdateCheckDate(), std::nullopt);
  this->remember({1'600'000'000, 0});
  EXPECT_EQ(this->updater.lastUpdateCheckDate(), (Date{1'600'000'000, 0}));
}

TYPED_TEST(UpdaterConformance, AnUpdateIsReportedToTheDelegate) {
  this->offer("2.0");
  this->check();
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0"));
  EXPECT_EQ(this->delegate.questions, 0);
}

TYPED_TEST(UpdaterConformance, ACheckThatFindsNothingIsSilent) {
  this->check();
  EXPECT_THAT(this->delegate.found, IsEmpty());
  EXPECT_EQ(this->checkCount(), 1U);
}

TYPED_TEST(UpdaterConformance, WithoutADelegateACheckIsMade) {
  this->offer("2.0");
  this->updater.setDelegate(nullptr);
  this->updater.checkForUpdateInformation();
  this->finishCheck();
  EXPECT_EQ(this->checkCount(), 1U);
}

TYPED_TEST(UpdaterConformance, OneCheckFollowsAnother) {
  this->offer("2.0");
  this->check();
  this->check();
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0", "2.0"));
}

TYPED_TEST(UpdaterConformance, OneCheckRunsAtATime) {
  this->hold();
  this->offer("2.0");
  this->updater.setDelegate(&this->delegate);
  this->updater.checkForUpdateInformation();
  EXPECT_TRUE(this->isChecking());
  this->updater.checkForUpdateInformation();
  EXPECT_THAT(this->delegate.found, IsEmpty());
  this->finishCheck();
  EXPECT_EQ(this->checkCount(), 1U);
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0"));
}

TYPED_TEST(UpdaterConformance, ADelegateMayBeginTheNextCheck) {
  this->offer("2.0");
  this->delegate.hook = [this] {
    if (this->delegate.found.size() == 1) this->updater.checkForUpdateInformation();
  };
  this->check();
  this->finishCheck();
  EXPECT_EQ(this->checkCount(), 2U);
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0", "2.0"));
}

TYPED_TEST(UpdaterConformance, TheDelegateAtTheEndOfACheckIsNotified) {
  RecordingUpdaterDelegate former;
  this->hold();
  this->offer("2.0");
  this->updater.setDelegate(&former);
  this->updater.checkForUpdateInformation();
  this->updater.setDelegate(&this->delegate);
  this->finishCheck();
  EXPECT_THAT(former.found, IsEmpty());
  EXPECT_THAT(this->delegate.found, ElementsAre("2.0"));
}

TYPED_TEST(UpdaterConformance, ACheckIsRecordedWhenItBegins) {
  const Date before = this->now();
  this->hold();
  this->updater.checkForUpdateInformation();
  const Date date = this->updater.lastUpdateCheckDate().value_or(Date{});
  EXPECT_GE(date.seconds, before.seconds);
  EXPECT_LE(date.seconds, this->now().seconds);
  this->finishCheck();
  EXPECT_EQ(this->updater.lastUpdateCheckDate(), date);
}

TYPED_TEST(UpdaterConformance, WithoutAFeedOrAVersionNoCheckIsMade) {
  this->want(true, 7200);
  this->describe(kFeedless, "", "1.0");
  this->describe(kVersionless, "https://updates.example/feed", "");
  for (const char* path : {kFeedless, kVersionless}) {
    Updater& silent = this->updaters.updaterForBundle(path);
    EXPECT_FALSE(silent.automaticallyChecksForUpdates()) << path;
    silent.setDelegate(&this->delegate);
    silent.checkForUpdateInformation();
    EXPECT_FALSE(this->isChecking()) << path;
    EXPECT_EQ(silent.lastUpdateCheckDate(), std::nullopt) << path;
  }
  EXPECT_FALSE(this->updaters.updaterForBundle("/E/Missing.app").automaticallyChecksForUpdates());
  EXPECT_EQ(this->checkCount(), 0U);
}

TYPED_TEST(UpdaterConformance, AnIntervalOfZeroIsOffAndAShortOneAMinute) {
  for (const double nothing : {0.0, -5.0, std::nan(""), std::numeric_limits<double>::infinity()}) {
    this->want(true, nothing);
    EXPECT_FALSE(this->updater.automaticallyChecksForUpdates()) << nothing;
    EXPECT_EQ(this->updater.updateCheckInterval(), 60) << nothing;
  }
  this->want(true, 1);
  EXPECT_TRUE(this->updater.automaticallyChecksForUpdates());
  EXPECT_EQ(this->updater.updateCheckInterval(), 60);
}

TYPED_TEST(UpdaterConformance, TheDefaultIntervalIsADay) { EXPECT_EQ(this->updater.updateCheckInterval(), 86400); }

// Linux only.

struct LinuxUpdaterTest : UpdaterConformance<LinuxUpdaterKind> {};

TEST_F(LinuxUpdaterTest, AnInvalidIntervalIsADayAndIntegersCount) {
  preferences.setBoolean("SUEnableAutomaticChecks", true, kUpdaterDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 86400);
  preferences.setString("SUScheduledCheckInterval", "often", kUpdaterDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 86400);
  const auto tree = std::make_shared<PropertyListTree>();
  preferences.setFlushedValue("SUScheduledCheckInterval", {tree, tree->makeReal(90.5)}, kUpdaterDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 90.5);
  preferences.setInteger("SUScheduledCheckInterval", 7200, kUpdaterDomain);
  EXPECT_EQ(updater.updateCheckInterval(), 7200);
}

TEST_F(LinuxUpdaterTest, TheCheckerReceivesFeedVersionsAndSkippedVersion) {
  check();
  EXPECT_EQ(directory.read("calls"), "--feed https://updates.example/feed --current 100 --current-short 1.0\n");
  preferences.setString("SUSkippedVersion", "1.5", kUpdaterDomain);
  check();
  EXPECT_TRUE(directory.read("calls").ends_with("--current 100 --current-short 1.0 --skipped 1.5\n"));
}

TEST_F(LinuxUpdaterTest, AMissingShortVersionIsNotPassed) {
  describe(kOther, "https://updates.example/feed", "100");
  updaters.updaterForBundle(kOther).checkForUpdateInformation();
  finishCheck();
  EXPECT_EQ(directory.read("calls"), "--feed https://updates.example/feed --current 100\n");
}

TEST_F(LinuxUpdaterTest, TheDateOfACheckIsSaved) {
  check();
  EXPECT_TRUE(preferences.flushedValue("SULastCheckTime", kUpdaterDomain).root.date());
}

TEST_F(LinuxUpdaterTest, FailuresAreNotReported) {
  for (const char* body : {"exit 2", "echo 2.0; exit 2", "echo 2.0; kill -9 $$", "exit 0", "echo; echo 2.0",
                           "head -c 100000 /dev/zero | tr '\\0' x"}) {
    script(body);
    check();
    EXPECT_THAT(delegate.found, IsEmpty()) << body;
  }
  fs::remove(directory.path("checker"));
  updater.checkForUpdateInformation();
  EXPECT_THAT(delegate.found, IsEmpty());
}

TEST_F(LinuxUpdaterTest, WithoutACheckerNothingIsCheckedOrSaved) {
  want(true, 3600);
  EXPECT_TRUE(updater.automaticallyChecksForUpdates());
  fs::remove(directory.path("checker"));
  EXPECT_FALSE(updater.automaticallyChecksForUpdates());
  updater.checkForUpdateInformation();
  EXPECT_FALSE(hasChildren());
  EXPECT_FALSE(preferences.flushedValue("SULastCheckTime", kUpdaterDomain).root.date());
}

TEST_F(LinuxUpdaterTest, ACheckBeyondItsDeadlineIsKilledAndAnotherCanBegin) {
  LinuxUpdaters hasty({*real.loop, preferences, bundles, directory.path("checker"), std::chrono::milliseconds(100)});
  Updater& impatient = hasty.updaterForBundle(kBundle);
  impatient.setDelegate(&delegate);
  script("echo 2.0; exec sleep 600");
  impatient.checkForUpdateInformation();
  EXPECT_TRUE(hasChildren());
  EXPECT_TRUE(real.turnUntil([] { return !hasChildren(); }));
  EXPECT_THAT(delegate.found, IsEmpty());
  impatient.checkForUpdateInformation();
  EXPECT_TRUE(hasChildren());
  EXPECT_TRUE(real.turnUntil([] { return !hasChildren(); }));
}

TEST_F(LinuxUpdaterTest, DestroyingAnUpdaterKillsItsCheck) {
  {
    LinuxUpdaters others({*real.loop, preferences, bundles, directory.path("checker")});
    script("exec sleep 600");
    others.updaterForBundle(kBundle).checkForUpdateInformation();
    EXPECT_TRUE(hasChildren());
  }
  EXPECT_FALSE(hasChildren());
}

}  // namespace
}  // namespace tarvel
