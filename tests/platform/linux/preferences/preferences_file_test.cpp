// The settings file on disk: concurrent processes, other programs, failures.

#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "platform/linux/base/unique_fd.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/memory/memory_platform.h"
#include "platform/plist/serialization.h"
#include "tests/support/child_process.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
namespace fs = std::filesystem;

constexpr const char* kDomain = "org.tarvel.Test";
constexpr const char* kFile = "org.tarvel.Test/preferences.plist";

PropertyList integer(std::int64_t value) {
  const auto tree = std::make_shared<PropertyListTree>();
  return {tree, tree->makeInteger(value)};
}

struct PreferencesFileTest : testing::Test {
  [[nodiscard]] bool set(const std::string& key, const PropertyList& value) {
    store.setAppValue(key, value, kDomain);
    return store.appSynchronize(kDomain);
  }
  void write(const std::string& bytes) const {
    fs::create_directories(directory.path(kDomain));
    directory.write(kFile, bytes);
  }
  [[nodiscard]] std::string bytes() const { return directory.read(kFile); }
  [[nodiscard]] unsigned mode(const std::string& name) const {
    struct stat status {};
    return ::stat(directory.path(name).c_str(), &status) == 0 ? status.st_mode & 07777U : 0;
  }
  [[nodiscard]] std::vector<std::string> names() const {
    std::vector<std::string> all;
    for (const auto& entry : fs::directory_iterator(directory.path(kDomain))) all.push_back(entry.path().filename());
    std::ranges::sort(all);
    return all;
  }

  TemporaryDirectory directory;
  PlistSerialization serialization;
  MemorySystemLog log;
  LinuxPreferencesStore store{serialization, log, directory.path()};
};

TEST_F(PreferencesFileTest, TheFileIsXmlAndPrivateForAnyUmask) {
  for (const mode_t mask : {mode_t{0}, mode_t{077}}) {
    fs::remove_all(directory.path(kDomain));
    const mode_t before = ::umask(mask);
    const bool isSet = set("Key", integer(5));
    (void)::umask(before);
    ASSERT_TRUE(isSet);
    EXPECT_TRUE(bytes().starts_with("<?xml"));
    EXPECT_EQ(mode(kFile), 0600U);
    EXPECT_EQ(mode(kDomain), 0700U);
    EXPECT_THAT(names(), ElementsAre("preferences.plist", "preferences.plist.lock"));
  }
}

TEST_F(PreferencesFileTest, EveryFormatIsReadAndXmlIsWritten) {
  for (const char* text : {"<plist><dict><key>Key</key><integer>5</integer></dict></plist>", "{ Key = 5; }"}) {
    write(text);
    EXPECT_EQ(store.appIntegerValue("Key", kDomain), 5) << text;
  }
  const auto tree = std::make_shared<PropertyListTree>();
  const PropertyListDictionary root = tree->makeDictionary();
  root.set("Key", tree->makeInteger(6));
  write(serialization.dataWithPropertyList({tree, root.value()}, 200).data.joined());
  EXPECT_EQ(store.appIntegerValue("Key", kDomain), 6);
  EXPECT_TRUE(set("Other", integer(1)));
  EXPECT_TRUE(bytes().starts_with("<?xml"));
  EXPECT_EQ(store.appIntegerValue("Key", kDomain), 6);
}

TEST_F(PreferencesFileTest, UnchangedKeysKeepTheirValuesAndTypes) {
  const std::string others =
      "<key>data</key><data>AQID</data><key>date</key><date>2020-01-02T03:04:05Z</date><key>large</key>"
      "<integer>18446744073709551615</integer><key>list</key><array><real>0.5</real><true/><dict/></array>";
  write("<plist><dict>" + others + "</dict></plist>");
  EXPECT_TRUE(set("Key", integer(5)));
  const PropertyList date = store.copyAppValue("date", kDomain);
  EXPECT_EQ(date.root.date(), 599627045.0);
  EXPECT_THAT(bytes(), HasSubstr("<date>2020-01-02T03:04:05Z</date>"));
  EXPECT_THAT(bytes(), HasSubstr("<integer>18446744073709551615</integer>"));
  EXPECT_THAT(bytes(), HasSubstr("AQID"));
  EXPECT_THAT(bytes(), HasSubstr("<real>0.5</real>"));
}

TEST_F(PreferencesFileTest, AnUnchangedFileIsNotWritten) {
  ASSERT_TRUE(set("Key", integer(5)));
  const auto date = fs::last_write_time(directory.path(kFile));
  EXPECT_TRUE(store.appSynchronize(kDomain));
  EXPECT_TRUE(set("Absent", {}));
  EXPECT_EQ(fs::last_write_time(directory.path(kFile)), date);
}

TEST_F(PreferencesFileTest, RemovingAKeyWithoutAFileCreatesNone) {
  EXPECT_TRUE(set("Key", {}));
  EXPECT_FALSE(fs::exists(directory.path(kFile)));
}

TEST_F(PreferencesFileTest, ACorruptFileReadsAsDefaultsIsLoggedOnceAndSetAsideByTheNextWrite) {
  for (const char* text : {"<plist><dict><key>", "<plist><array/></plist>", "bplist00 and so on", "\x01\x02"}) {
    fs::remove_all(directory.path(kDomain));
    write(text);
    MemorySystemLog ownLog;
    LinuxPreferencesStore own(serialization, ownLog, directory.path());
    EXPECT_EQ(own.appIntegerValue("Key", kDomain), std::nullopt);
    EXPECT_EQ(own.appIntegerValue("Other", kDomain), std::nullopt);
    EXPECT_THAT(ownLog.lines(), SizeIs(1)) << text;
    EXPECT_EQ(bytes(), text);
    own.setAppValue("Key", integer(5), kDomain);
    EXPECT_TRUE(own.appSynchronize(kDomain));
    EXPECT_EQ(own.appIntegerValue("Key", kDomain), 5);
    const auto all = names();
    ASSERT_THAT(all, SizeIs(3)) << text;
    EXPECT_THAT(all[1], testing::StartsWith("preferences.plist.corrupt-2"));
    EXPECT_EQ(directory.read(std::string(kDomain) + "/" + all[1]), text);
  }
}

TEST_F(PreferencesFileTest, TwoCorruptFilesOfOneSecondAreBothKept) {
  for (int i = 0; i < 3; ++i) {
    write("corrupt " + std::string("\x01") + std::to_string(i));
    ASSERT_TRUE(set("Key", integer(i)));
  }
  EXPECT_THAT(names(), SizeIs(5));
}

TEST_F(PreferencesFileTest, AnEmptyFileCountsAsCorrupt) {
  write("");
  EXPECT_EQ(store.appIntegerValue("Key", kDomain), std::nullopt);
  EXPECT_THAT(log.lines(), SizeIs(1));
}

TEST_F(PreferencesFileTest, AnUnreadableFileIsKeptAndTheFlushFails) {
  write("<plist><dict><key>Key</key><integer>5</integer></dict></plist>");
  fs::permissions(directory.path(), fs::perms::all);
  fs::permissions(directory.path(kDomain), fs::perms::all);
  fs::permissions(directory.path(kFile), fs::perms::none);
  const int answer = inChildWithoutPrivileges([this] {
    MemorySystemLog childLog;
    LinuxPreferencesStore child(serialization, childLog, directory.path());
    if (child.appIntegerValue("Key", kDomain) || childLog.lines().size() != 1) return 1;
    child.setAppValue("Key", integer(7), kDomain);
    return child.appSynchronize(kDomain) ? 2 : 0;
  });
  EXPECT_EQ(answer, 0);
  fs::permissions(directory.path(kFile), fs::perms::owner_all);
  EXPECT_THAT(bytes(), HasSubstr("<integer>5</integer>"));
}

TEST_F(PreferencesFileTest, AFolderOrAHugeFileInItsPlaceIsKept) {
  fs::create_directories(directory.path(kFile));
  EXPECT_EQ(store.appIntegerValue("Key", kDomain), std::nullopt);
  EXPECT_FALSE(set("Key", integer(5)));
  fs::remove(directory.path(kFile));
  write("");
  fs::resize_file(directory.path(kFile), std::uintmax_t{17} * 1024 * 1024);
  EXPECT_FALSE(set("Key", integer(5)));
  EXPECT_EQ(fs::file_size(directory.path(kFile)), std::uintmax_t{17} * 1024 * 1024);
  fs::remove(directory.path(kFile));
  EXPECT_TRUE(store.appSynchronize(kDomain));
  EXPECT_EQ(store.appIntegerValue("Key", kDomain), 5);
}

TEST_F(PreferencesFileTest, ALinkedFileIsWrittenThroughItsLink) {
  fs::create_directory(directory.path("dotfiles"));
  directory.write("dotfiles/real", "<plist><dict/></plist>");
  fs::create_directories(directory.path(kDomain));
  fs::create_symlink("../dotfiles/real", directory.path(kFile));
  EXPECT_TRUE(set("Key", integer(5)));
  EXPECT_TRUE(fs::is_symlink(directory.path(kFile)));
  EXPECT_THAT(directory.read("dotfiles/real"), HasSubstr("<integer>5</integer>"));
  // So is a corrupt file, whose bytes are kept beside the link.
  directory.write("dotfiles/real", "corrupt\x01");
  EXPECT_TRUE(set("Key", integer(6)));
  EXPECT_THAT(directory.read("dotfiles/real"), HasSubstr("<integer>6</integer>"));
  EXPECT_EQ(directory.read(std::string(kDomain) + "/" + names()[1]), "corrupt\x01");
}

TEST_F(PreferencesFileTest, AValueThatXmlCannotRepresentIsStoredAsBinary) {
  // A date outside the calendar.
  const auto tree = std::make_shared<PropertyListTree>();
  EXPECT_TRUE(set("Key", {tree, tree->makeDate(1e300)}));
  EXPECT_TRUE(bytes().starts_with("bplist00"));
  LinuxPreferencesStore after(serialization, log, directory.path());
  const PropertyList kept = after.copyAppValue("Key", kDomain);
  EXPECT_EQ(kept.root.date(), 1e300);
}

TEST_F(PreferencesFileTest, StringsWithUnusualCharactersAreKept) {
  for (const std::string& text : {std::string("a\x01\0b", 4), std::string("\r\n\t "), std::string("]]>"),
                                  std::string("\xED\xA0\x80"), std::string()}) {
    const auto tree = std::make_shared<PropertyListTree>();
    EXPECT_TRUE(set("Key", {tree, tree->makeString(text)}));
    LinuxPreferencesStore after(serialization, log, directory.path());
    const PropertyList kept = after.copyAppValue("Key", kDomain);
    EXPECT_EQ(kept.root.string(), text);
  }
}

TEST_F(PreferencesFileTest, AnUnstorableValueFailsAndChangesNothing) {
  ASSERT_TRUE(set("Key", integer(5)));
  const std::string before = bytes();
  const auto tree = std::make_shared<PropertyListTree>();
  EXPECT_FALSE(set("Bad", {tree, tree->makeNull()}));
  EXPECT_EQ(bytes(), before);
  EXPECT_TRUE(set("Bad", {}));
}

TEST_F(PreferencesFileTest, SettingsTooLargeToBeReadAgainAreNotWritten) {
  ASSERT_TRUE(set("Key", integer(5)));
  const auto tree = std::make_shared<PropertyListTree>();
  bool isKept = true;
  int count = 0;
  for (; isKept && count < 8; ++count) {
    // All different, because the binary format stores equal strings once.
    const std::string text(std::size_t{4} * 1024 * 1024, static_cast<char>('a' + count));
    isKept = set("Large" + std::to_string(count), {tree, tree->makeString(text)});
  }
  EXPECT_FALSE(isKept);
  LinuxPreferencesStore after(serialization, log, directory.path());
  EXPECT_EQ(after.appIntegerValue("Key", kDomain), 5);
  EXPECT_THAT(after.copyKeyList(kDomain), SizeIs(static_cast<std::size_t>(count)));
  EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(PreferencesFileTest, ABusyLockFailsTheFlushAfterTwoSecondsAndKeepsTheFile) {
  ASSERT_TRUE(set("Key", integer(5)));
  const std::string before = bytes();
  const UniqueFd lock(::open((directory.path(kFile) + ".lock").c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_EQ(::flock(lock.get(), LOCK_EX), 0);
  const auto start = std::chrono::steady_clock::now();
  EXPECT_FALSE(set("Key", integer(6)));
  EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(2));
  EXPECT_EQ(bytes(), before);
  ASSERT_EQ(::flock(lock.get(), LOCK_UN), 0);
  EXPECT_TRUE(store.appSynchronize(kDomain));
  EXPECT_THAT(bytes(), HasSubstr("<integer>6</integer>"));
}

TEST_F(PreferencesFileTest, TwoProcessesWithThreeHundredFlushesEachLoseNone) {
  constexpr int kFlushes = 300;
  std::vector<pid_t> children;
  for (int process = 0; process < 2; ++process) {
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
      bool areAllKept = true;
      for (int i = 0; i < kFlushes; ++i) {
        bool isKept = set(std::to_string(process) + "." + std::to_string(i), integer(i));
        // On a busy machine the lock may time out; pending changes stay pending until it is acquired.
        for (int more = 0; !isKept && more < 20; ++more) isKept = store.appSynchronize(kDomain);
        areAllKept &= isKept;
      }
      ::_exit(areAllKept ? 0 : 1);
    }
    children.push_back(child);
  }
  for (const pid_t child : children) {
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
  }
  EXPECT_THAT(store.copyKeyList(kDomain), SizeIs(2 * kFlushes));
}

TEST_F(PreferencesFileTest, AnyFailingCallLeavesTheOldOrTheNewFile) {
  for (const long call : {SYS_openat, SYS_fsync, SYS_writev, SYS_pwritev, SYS_pwrite64, SYS_write, SYS_linkat,
                          SYS_renameat, SYS_renameat2, SYS_flock, SYS_read, SYS_newfstatat}) {
    for (const int code : {EIO, ENOSPC, EACCES}) {
      fs::remove_all(directory.path(kDomain));
      write("<plist><dict><key>Key</key><integer>5</integer></dict></plist>");
      const std::string before = bytes();
      const int answer = inChildWithFaults({{call, code}}, [this] {
        MemorySystemLog childLog;
        LinuxPreferencesStore child(serialization, childLog, directory.path());
        child.setAppValue("Key", integer(7), kDomain);
        return child.appSynchronize(kDomain) ? 1 : 0;
      });
      SCOPED_TRACE("call " + std::to_string(call) + " fails with " + std::to_string(code));
      ASSERT_LT(answer, 100);
      LinuxPreferencesStore after(serialization, log, directory.path());
      EXPECT_EQ(after.appIntegerValue("Key", kDomain), answer == 1 ? 7 : 5);
      if (answer == 0) {
        EXPECT_EQ(bytes(), before);
      }
      for (const std::string& name : names()) EXPECT_TRUE(name.starts_with("preferences.plist")) << name;
    }
  }
}

TEST_F(PreferencesFileTest, AnIdentifierThatIsAPathHasNoSettings) {
  for (const char* identifier : {"", ".", "..", "../x", "a/b", "/etc"}) {
    EXPECT_EQ(store.pathOf(identifier), "") << identifier;
    store.setAppValue("Key", integer(5), identifier);
    EXPECT_FALSE(store.appSynchronize(identifier)) << identifier;
    EXPECT_EQ(store.appIntegerValue("Key", identifier), std::nullopt) << identifier;
    EXPECT_THAT(store.copyKeyList(identifier), IsEmpty()) << identifier;
  }
  EXPECT_TRUE(fs::is_empty(directory.path()));
}

TEST_F(PreferencesFileTest, WithoutAHomeNothingIsReadOrStored) {
  LinuxPreferencesStore homeless(serialization, log, "");
  homeless.setAppValue("Key", integer(5), kDomain);
  EXPECT_FALSE(homeless.appSynchronize(kDomain));
}

}  // namespace
}  // namespace tarvel
