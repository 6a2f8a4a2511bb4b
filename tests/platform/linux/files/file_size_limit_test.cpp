#include "platform/linux/files/file_size_limit.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <string>

#include "platform/linux/files/linux_file_manager.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

constexpr std::size_t kMiB = std::size_t{1} << 20;

struct FileSizeLimit : testing::Test {
  ~FileSizeLimit() override { ::unsetenv(kFileSizeLimitVariable); }

  TemporaryDirectory directory;
  LinuxFileManager files;
};

TEST_F(FileSizeLimit, IsANumberWithOrWithoutAUnit) {
  EXPECT_EQ(fileSizeLimitFrom("1000"), 1000U);
  EXPECT_EQ(fileSizeLimitFrom("3K"), 3U * 1024);
  EXPECT_EQ(fileSizeLimitFrom("5M"), 5 * kMiB);
  EXPECT_EQ(fileSizeLimitFrom("2G"), 2048 * kMiB);
}

TEST_F(FileSizeLimit, IsTheDefaultForAnInvalidSize) {
  for (const char* text : {"", "0", "M", "-1", "+1", " 1", "1 ", "1k", "1MM", "1.5G", "x", "99999999999999999999",
                           "18446744073709551615K"}) {
    EXPECT_EQ(fileSizeLimitFrom(text), kDefaultFileSizeLimit) << text;
  }
  EXPECT_EQ(fileSizeLimitFrom("18446744073709551615"), std::numeric_limits<std::size_t>::max());
  ::unsetenv(kFileSizeLimitVariable);
  EXPECT_EQ(fileSizeLimit(), kDefaultFileSizeLimit);
}

TEST_F(FileSizeLimit, IsSpelledInTheLargestUnitThatFits) {
  EXPECT_EQ(fileSizeText(512 * kMiB), "512 MiB");
  EXPECT_EQ(fileSizeText(2048 * kMiB), "2 GiB");
  EXPECT_EQ(fileSizeText(1000), "1000 bytes");
  EXPECT_EQ(fileSizeText(3072), "3 KiB");
}

TEST_F(FileSizeLimit, ALargerFileIsRefusedWithTheLimitAndWhatToDo) {
  directory.write("sparse", "x");
  std::filesystem::resize_file(directory.path("sparse"), 3 * 1024 * kMiB);
  const FileReading reading = files.contentsAtPath(directory.path("sparse"));
  EXPECT_EQ(reading.status.code, EFBIG);
  EXPECT_EQ(reading.status.reason, "“" + directory.path("sparse") +
                                       "” is larger than 512 MiB, the most that is read. To raise the limit, set the "
                                       "environment variable TARVEL_MAX_FILE_SIZE to a size such as 2G.");
  EXPECT_EQ(reading.data.size(), 0U);
}

TEST_F(FileSizeLimit, AFileOfExactlyTheLimitIsRead) {
  ::setenv(kFileSizeLimitVariable, "10", 1);
  directory.write("f", "0123456789");
  EXPECT_EQ(files.contentsAtPath(directory.path("f")).data.size(), 10U);
  directory.write("f", "0123456789a");
  EXPECT_EQ(files.contentsAtPath(directory.path("f")).status.code, EFBIG);
  ::setenv(kFileSizeLimitVariable, "11", 1);
  EXPECT_TRUE(files.contentsAtPath(directory.path("f")).status.ok());
}

TEST_F(FileSizeLimit, AppliesToAFileWithReportedSizeZero) {
  ::setenv(kFileSizeLimitVariable, "10", 1);
  EXPECT_EQ(files.contentsAtPath("/proc/self/status").status.code, EFBIG);
}

}  // namespace
}  // namespace tarvel
