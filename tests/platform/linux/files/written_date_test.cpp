#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/memory/memory_file_manager.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

struct LinuxFiles {
  LinuxFiles() {
    directory.write("old", "before");
    directory.write("linked", "before");
    std::filesystem::create_hard_link(directory.path("linked"), directory.path("second name"));
  }
  [[nodiscard]] std::string path(const std::string& name) const { return directory.path(name); }

  TemporaryDirectory directory;
  LinuxFileManager manager;
};

struct MemoryFiles {
  MemoryFiles() {
    manager.putFile("/f/old", "before");
    manager.putFile("/f/linked", "before");
  }
  [[nodiscard]] static std::string path(const std::string& name) { return "/f/" + name; }

  MemoryFileManager manager;
};

template <typename Kind>
struct WrittenDate : testing::Test, Kind {
  [[nodiscard]] FileStatus write(const std::string& name, const std::string& bytes) {
    const Data data = Data::copyOf(bytes);
    return this->manager.writeDataToPath({{data.bytes()}, {}}, this->path(name), std::nullopt, &date);
  }

  std::optional<FileDate> date;
};
using Kinds = testing::Types<LinuxFiles, MemoryFiles>;
TYPED_TEST_SUITE(WrittenDate, Kinds);

TYPED_TEST(WrittenDate, IsTheMtimeOfTheWrittenFile) {
  // Created, replaced, and written in place.
  for (const char* name : {"new", "old", "linked"}) {
    ASSERT_TRUE(this->write(name, "after").ok());
    ASSERT_TRUE(this->date);
    EXPECT_EQ(this->date, this->manager.modificationDateAtPath(this->path(name))) << name;
  }
}

TYPED_TEST(WrittenDate, DiffersFromThatOfALaterWrite) {
  for (const char* name : {"new", "old", "linked"}) {
    ASSERT_TRUE(this->write(name, "after").ok());
    const std::optional<FileDate> first = this->date;
    ASSERT_TRUE(this->write(name, "AFTER").ok());
    EXPECT_NE(first, this->manager.modificationDateAtPath(this->path(name))) << name;
  }
}

TYPED_TEST(WrittenDate, IsAbsentAfterAFailure) {
  ASSERT_TRUE(this->write("new", "after").ok());
  EXPECT_FALSE(this->write("missing/new", "after").ok());
  EXPECT_EQ(this->date, std::nullopt);
}

}  // namespace
}  // namespace tarvel
