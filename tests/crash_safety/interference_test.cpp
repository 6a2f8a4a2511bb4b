// Another thread saves the file at random moments of a sort, in every way that programs save. The last save is in the
// file, sorted or not.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <iostream>
#include <random>
#include <string>
#include <thread>

#include "engine/tarvel.h"
#include "platform/linux/base/unique_fd.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/memory/memory_platform.h"
#include "platform/plist/serialization.h"
#include "tests/crash_safety/crash_home.h"
#include "tests/support/real_files.h"
#include "tests/support/tree_notation.h"

namespace tarvel {
namespace {

namespace fs = std::filesystem;

enum class Saving { kRenameOver, kInPlace, kDeleteAndRecreate, kUnderLock };
constexpr int kWaysOfSaving = 4;

struct Interference : testing::Test {
  static constexpr int kRoundsInQuickForm = 250;
  static constexpr int kRoundsInLongForm = 10'000;

  TemporaryDirectory directory;
  PlistSerialization serialization;
  LinuxFileManager files;
  MemoryPlatform memory{serialization};
  const std::string path = directory.path("Bookmarks.plist");
  const std::uint32_t seed = isLongForm() ? std::random_device()() : static_cast<std::uint32_t>(::getpid());
  std::mt19937 random{seed};
  std::chrono::microseconds longestDelay{0};

  [[nodiscard]] static int rounds() { return isLongForm() ? kRoundsInLongForm : kRoundsInQuickForm; }

  /// An unsorted file with this number in it.
  std::string saved(int number) {
    const PropertyList list =
        tree("Root[ BookmarksBar[ ] BookmarksMenu[ zebra yak x" + std::to_string(number) + " apple ] ]");
    list.root.dictionary().set(PropertyListKey{"Number"}, list.tree->makeInteger(number));
    return serialization.dataWithPropertyList(list, static_cast<std::uint32_t>(PropertyListFormat::kBinary))
        .data.joined();
  }

  void writeAt(const std::string& place, int flags, const std::string& bytes) {
    const UniqueFd fd(::open(place.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0600));
    const std::size_t half = bytes.size() / 2;
    ASSERT_EQ(::write(fd.get(), bytes.data(), half), static_cast<ssize_t>(half));
    ASSERT_EQ(::write(fd.get(), bytes.data() + half, bytes.size() - half), static_cast<ssize_t>(bytes.size() - half));
  }

  void renameOver(const std::string& bytes) {
    writeAt(directory.path("fresh"), O_TRUNC, bytes);
    ASSERT_EQ(::rename(directory.path("fresh").c_str(), path.c_str()), 0);
  }

  void save(Saving way, const std::string& bytes) {
    switch (way) {
      case Saving::kInPlace:
        return writeAt(path, O_TRUNC, bytes);
      case Saving::kDeleteAndRecreate:
        ::unlink(path.c_str());
        return writeAt(path, O_EXCL, bytes);
      case Saving::kUnderLock:
        directory.write("lock", "");
        renameOver(bytes);
        ASSERT_TRUE(fs::remove(directory.path("lock")));
        return;
      default:
        return renameOver(bytes);
    }
  }

  TarvelError sort() {
    const Platform real = withFiles(memory.platform(), files);
    Tarvel tarvel(real);
    return tarvel.sortBookmarksInFileWithName(path);
  }

  /// -1 when there is no whole file.
  int numberInFile() {
    const PropertyListReading reading =
        serialization.propertyListFromData(Data::copyOf(directory.read("Bookmarks.plist")));
    const auto number = reading.list.root.dictionary().get("Number").integer();
    return number ? static_cast<int>(*number) : -1;
  }

  /// Sets the longest delay of a save to a little more than a sort takes.
  void measureSort() {
    constexpr int kSorts = 9;
    std::array<std::chrono::steady_clock::duration, kSorts> durations{};
    for (auto& duration : durations) {
      renameOver(saved(0));
      const auto start = std::chrono::steady_clock::now();
      ASSERT_EQ(sort(), TarvelErrorNone);
      duration = std::chrono::steady_clock::now() - start;
    }
    std::ranges::sort(durations);
    longestDelay = std::chrono::duration_cast<std::chrono::microseconds>(durations[kSorts / 2]) * 5 / 4;
  }

  /// Saves at a random moment of a sort, and returns the result of the sort.
  TarvelError race(Saving way, int number) {
    const std::string bytes = saved(number);
    const auto delay = std::chrono::microseconds(random() % static_cast<unsigned>(longestDelay.count()));
    std::thread writer([&] {
      const auto end = std::chrono::steady_clock::now() + delay;
      while (std::chrono::steady_clock::now() < end) {
      }
      save(way, bytes);
    });
    const TarvelError error = sort();
    writer.join();
    return error;
  }
};

TEST_F(Interference, TheLastSaveIsNeverLostHoweverItIsSaved) {
  SCOPED_TRACE("seed " + std::to_string(seed));
  measureSort();
  int late = 0;
  int tried = 0;
  for (int i = 0; i < rounds(); ++i) {
    const auto way = static_cast<Saving>(i % kWaysOfSaving);
    renameOver(saved(2 * i));
    SCOPED_TRACE("round " + std::to_string(i) + ", way of saving " + std::to_string(i % kWaysOfSaving));
    const TarvelError error = race(way, 2 * i + 1);
    ASSERT_EQ(numberInFile(), 2 * i + 1) << "result of the sort: " << error;
    // The sort may find the file missing or half written.
    const bool isExpected = error == TarvelErrorNone || error == TarvelErrorFileInUse ||
                            error == TarvelErrorBookmarksFileNotFound || error == TarvelErrorReadFailed;
    ASSERT_TRUE(isExpected) << error;
    late += error == TarvelErrorFileInUse ? 1 : 0;
    tried += error == TarvelErrorNone ? 1 : 0;
    ASSERT_EQ(sort(), TarvelErrorNone);
    ASSERT_EQ(numberInFile(), 2 * i + 1);
  }
  // Saves and sorts both succeeded often enough.
  EXPECT_GT(tried, rounds() / 4);
  std::cout << rounds() << " races: " << tried << " sorted, " << late << " given up for the next time\n";
  std::size_t strays = 0;
  for (const auto& entry : fs::directory_iterator(directory.path())) {
    strays += entry.path().filename().string().starts_with(".tarvel") ? 1U : 0U;
  }
  EXPECT_EQ(strays, 0U);
}

TEST_F(Interference, AFileThatIsOpenForWritingIsInUse) {
  renameOver(saved(1));
  const UniqueFd writer(::open(path.c_str(), O_RDWR | O_CLOEXEC));
  ASSERT_TRUE(writer);
  EXPECT_EQ(sort(), TarvelErrorFileInUse);
  // The descriptor still refers to the file of that name.
  const std::string bytes = saved(2);
  ASSERT_EQ(::pwrite(writer.get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
  ASSERT_EQ(::ftruncate(writer.get(), static_cast<off_t>(bytes.size())), 0);
  EXPECT_EQ(numberInFile(), 2);
}

TEST_F(Interference, AFileThatIsOpenForReadingIsSorted) {
  renameOver(saved(1));
  const UniqueFd reader(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
  ASSERT_TRUE(reader);
  EXPECT_EQ(sort(), TarvelErrorNone);
}

TEST_F(Interference, TwoSortersDoNotDisturbEachOther) {
  for (int i = 0; i < rounds() / 5; ++i) {
    renameOver(saved(i));
    TarvelError other = TarvelErrorNone;
    std::thread second([&] {
      PlistSerialization lists;
      MemoryPlatform twin(lists);
      LinuxFileManager manager;
      const Platform real = withFiles(twin.platform(), manager);
      Tarvel tarvel(real);
      other = tarvel.sortBookmarksInFileWithName(path);
    });
    const TarvelError error = sort();
    second.join();
    ASSERT_TRUE(error == TarvelErrorNone || error == TarvelErrorFileInUse) << error;
    ASSERT_TRUE(other == TarvelErrorNone || other == TarvelErrorFileInUse) << other;
    ASSERT_TRUE(error == TarvelErrorNone || other == TarvelErrorNone);
    ASSERT_EQ(numberInFile(), i);
  }
}

}  // namespace
}  // namespace tarvel
