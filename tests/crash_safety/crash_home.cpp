#include "tests/crash_safety/crash_home.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <string_view>

#include "platform/plist/serialization.h"
#include "platform/preference_value.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view kIdentifierKey = "WebBookmarkUUID";
constexpr auto kXml = static_cast<std::uint32_t>(PropertyListFormat::kXml);
constexpr auto kBinary = static_cast<std::uint32_t>(PropertyListFormat::kBinary);

/// An unknown key, which sorting keeps. Its value makes the file large enough for several writes.
constexpr std::string_view kFillerKey = "Filler";

std::vector<std::uint8_t> filler() { return std::vector<std::uint8_t>(540'000, 'x'); }

std::string unsortedFile() {
  PlistSerialization serialization;
  const PropertyList list = tree(
      "Root[ BookmarksBar[ b a ] BookmarksMenu[ zebra apple lower[ d c ] ] "
      "\"z folder\"[ second first ] \"a folder\"[ y x ] ]");
  list.root.dictionary().set(PropertyListKey{kFillerKey}, list.tree->makeData(filler()));
  return serialization.dataWithPropertyList(list, kBinary).data.joined();
}

/// The property list as text without its root's identifier and the filler. Empty when bytes or filler are not whole.
std::string textWithoutIdentifier(const std::string& bytes) {
  PlistSerialization serialization;
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(bytes));
  const PropertyListDictionary root = reading.list.root.dictionary();
  if (reading.error || !root) return {};
  const auto kept = root.get(kFillerKey).data();
  if (!kept || !std::ranges::equal(*kept, filler())) return {};
  root.remove(PropertyListKey{kFillerKey});
  root.remove(PropertyListKey{kIdentifierKey});
  return serialization.dataWithPropertyList(reading.list, kXml).data.joined();
}

constexpr std::string_view kOldSettings =
    "<plist version=\"1.0\"><dict><key>AutoSortMode</key><true/><key>Other</key><string>kept</string></dict></plist>";

}  // namespace

bool isLongForm() {
  const char* form = std::getenv("TARVEL_PROOF");
  return form != nullptr && std::string_view(form) == "long";
}

std::vector<std::size_t> chosen(std::size_t count, std::size_t most) {
  const std::size_t step = isLongForm() ? 1 : std::max<std::size_t>((count + most - 1) / most, 1);
  std::vector<std::size_t> places;
  for (std::size_t i = static_cast<std::size_t>(::getpid()) % step; i < count; i += step) places.push_back(i);
  return places;
}

CrashHome::CrashHome(FilePlacing placing) : placing_(placing), unsorted_(unsortedFile()) {
  reset();
  EXPECT_EQ(run(sort()), 0);
  sortedBytes_ = folder_.read(fs::relative(fs::canonical(file()), root()).string());
  sortedText_ = textWithoutIdentifier(sortedBytes_);
  // Otherwise the checks could not tell the two states apart.
  EXPECT_TRUE(sortedText_ != textWithoutIdentifier(unsorted_));
  EXPECT_FALSE(sortedText_.empty());
}

std::string CrashHome::file() const {
  return folder_.path(placing_ == FilePlacing::kLinked ? "links/Bookmarks.plist" : "browser/Bookmarks.plist");
}

void CrashHome::reset() {
  for (const char* folder : {"browser", "links", "data", "config"}) fs::remove_all(folder_.path(folder));
  for (const char* folder : {"browser", "links", "data", "config/org.tarvel.Tarvel"}) {
    fs::create_directories(folder_.path(folder));
  }
  folder_.write("browser/Bookmarks.plist", unsorted_);
  if (placing_ == FilePlacing::kTwoNames) {
    fs::create_hard_link(folder_.path("browser/Bookmarks.plist"), folder_.path("links/second.plist"));
  }
  if (placing_ == FilePlacing::kLinked) {
    fs::create_symlink("../browser/Bookmarks.plist", folder_.path("links/Bookmarks.plist"));
  }
}

void CrashHome::resetToSorted() {
  reset();
  fs::create_directories(folder_.path("data/Tarvel"));
  folder_.write("data/Tarvel/Bookmarks (Initial Copy).plist", unsorted_);
  folder_.write("browser/Bookmarks.plist", sortedBytes_);
}

void CrashHome::resetToThreeBackups() {
  resetToSorted();
  if (copyEnd_.empty()) {
    EXPECT_EQ(run(keep()), 0);
    const std::string made = backups().front();
    copyEnd_ = made.substr(made.rfind("Z "));
    resetToSorted();
  }
  for (const char* day : {"2020-01-01", "2021-02-02", "2022-03-03"}) {
    const bool isNewest = std::string_view(day).starts_with("2022");
    folder_.write("data/Tarvel/Bookmarks " + std::string(day) + " 000000.000" + copyEnd_,
                  isNewest ? sortedBytes_ : unsorted_);
  }
}

void CrashHome::resetSettings() {
  reset();
  folder_.write("config/org.tarvel.Tarvel/preferences.plist", std::string(kOldSettings));
}

TracedProgram CrashHome::command(const std::vector<std::string>& arguments) const {
  TracedProgram program;
  program.arguments = {TARVEL_PROGRAM};
  program.arguments.insert(program.arguments.end(), arguments.begin(), arguments.end());
  program.environment = {"HOME=" + root(), "XDG_DATA_HOME=" + folder_.path("data"),
                         "XDG_CONFIG_HOME=" + folder_.path("config"), "LC_ALL=C.UTF-8"};
  return program;
}

TracedProgram CrashHome::agentSort() const {
  TracedProgram program = sort();
  program.arguments = {TARVEL_AGENT_SORT, file()};
  return program;
}

bool makesUnnamedFile(const SystemCall& call) {
  return call.number == SYS_openat && (static_cast<int>(call.arguments[2]) & O_TMPFILE) == O_TMPFILE;
}

int CrashHome::runWithoutUnnamedFiles(const TracedProgram& program) {
  const auto refuse = [](pid_t, const SystemCall& call) {
    return makesUnnamedFile(call) ? CallVerdict{CallVerdict::Kind::kFail, EOPNOTSUPP} : CallVerdict{};
  };
  return runTraced(program, refuse).exitStatus;
}

int CrashHome::run(const TracedProgram& program) { return runUntraced(program); }

bool CrashHome::isUnsorted() const { return folder_.read("browser/Bookmarks.plist") == unsorted_; }

bool CrashHome::isSortedBytes(const std::string& bytes) const { return textWithoutIdentifier(bytes) == sortedText_; }

bool CrashHome::isSorted() const { return isSortedBytes(folder_.read("browser/Bookmarks.plist")); }

bool CrashHome::hasNoBackup() const { return !fs::exists(fs::symlink_status(backup())); }

bool CrashHome::hasWholeBackup() const {
  return folder_.read("data/Tarvel/Bookmarks (Initial Copy).plist") == unsorted_;
}

bool CrashHome::isBackup(const std::string& path) { return path.starts_with("data/Tarvel/Bookmarks 2"); }

std::vector<std::string> CrashHome::backups() const {
  std::vector<std::string> names;
  if (!fs::exists(folder_.path("data/Tarvel"))) return names;
  for (const auto& entry : fs::directory_iterator(folder_.path("data/Tarvel"))) {
    const std::string name = "data/Tarvel/" + entry.path().filename().string();
    if (isBackup(name)) names.push_back(name);
  }
  return names;
}

bool CrashHome::hasOnlyWholeBackups() const {
  return std::ranges::all_of(backups(), [&](const std::string& name) {
    const std::string bytes = folder_.read(name);
    return bytes == unsorted_ || bytes == sortedBytes_;
  });
}

bool CrashHome::hasBackupOfSorted() const {
  return std::ranges::any_of(backups(), [&](const std::string& name) { return folder_.read(name) == sortedBytes_; });
}

bool CrashHome::hasOldSettings() const {
  return folder_.read("config/org.tarvel.Tarvel/preferences.plist") == kOldSettings;
}

bool CrashHome::areNewSettings(const std::string& bytes) const {
  PlistSerialization serialization;
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(bytes));
  const PropertyListDictionary settings = reading.list.root.dictionary();
  return settings.get("AutoSortMode").boolean() == true && settings.string("Other") == "kept" &&
         settings.get("BookmarksUpdateLatency").integer() == 7 && settings.size() == 3;
}

bool CrashHome::hasNewSettings() const {
  return areNewSettings(folder_.read("config/org.tarvel.Tarvel/preferences.plist"));
}

void CrashHome::saveUnsorted() const { folder_.write("browser/Bookmarks.plist", unsorted_); }

bool CrashHome::hasRecord() const {
  return std::ranges::any_of(strays(),
                             [](const std::string& name) { return name.starts_with("browser/.tarvel-undo-"); });
}

bool CrashHome::hasOnlyHiddenStrays() const {
  return std::ranges::all_of(strays(),
                             [](const std::string& name) { return name.find("/.tarvel-") != std::string::npos; });
}

std::vector<std::string> CrashHome::strays() const {
  static const std::set<std::string> belonging = {
      "browser/Bookmarks.plist",
      "links/Bookmarks.plist",
      "links/second.plist",
      "data/Tarvel/Bookmarks (Initial Copy).plist",
      "config/org.tarvel.Tarvel/preferences.plist",
      "config/org.tarvel.Tarvel/preferences.plist.lock",
  };
  std::vector<std::string> strays;
  for (const auto& entry : fs::recursive_directory_iterator(root())) {
    const std::string name = fs::path(entry.path()).lexically_relative(root()).string();
    if (!entry.is_directory() && !belonging.contains(name) && !isBackup(name)) strays.push_back(name);
  }
  return strays;
}

std::string CrashHome::description() const {
  std::string text = isUnsorted() ? "file unsorted" : isSorted() ? "file sorted" : "FILE TORN";
  text += hasNoBackup() ? ", no backup" : hasWholeBackup() ? ", backup whole" : ", BACKUP TORN";
  for (const std::string& stray : strays()) text += ", stray " + stray;
  return text;
}

}  // namespace tarvel
