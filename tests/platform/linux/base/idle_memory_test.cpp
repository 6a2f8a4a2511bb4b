#include "platform/linux/base/idle_memory.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <fstream>
#include <sstream>
#include <string>

#include "platform/linux/base/unique_fd.h"
#include "tests/support/temporary_directory.h"

namespace tarvel {
namespace {

/// A private mapping of a file of 16 pages, each byte of which is 'f' in the file.
class IdleMemoryTest : public testing::Test {
 protected:
  IdleMemoryTest() {
    const std::string path = folder_.path() + "/file";
    std::ofstream(path) << std::string(size(), 'f');
    const UniqueFd file(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
    bytes_ = static_cast<char*>(::mmap(nullptr, size(), PROT_READ | PROT_WRITE, MAP_PRIVATE, file.get(), 0));
  }
  ~IdleMemoryTest() override { ::munmap(bytes_, size()); }

  static std::size_t size() { return 16 * static_cast<std::size_t>(::sysconf(_SC_PAGESIZE)); }

  /// Takes away the right to write, as the loader does with relocated tables.
  void protect() { ASSERT_EQ(::mprotect(bytes_, size(), PROT_READ), 0); }

  /// In KiB, as the kernel lists it.
  [[nodiscard]] long resident() const {
    std::ifstream maps("/proc/self/smaps");
    std::ostringstream start;
    start << std::hex << reinterpret_cast<std::uintptr_t>(bytes_) << '-';
    bool isHere = false;
    for (std::string line; std::getline(maps, line);) {
      if (line.starts_with(start.str())) isHere = true;
      if (isHere && line.starts_with("Rss:")) return std::stol(line.substr(4));
    }
    return -1;
  }

  [[nodiscard]] std::string contents() const { return {bytes_, size()}; }

  TemporaryDirectory folder_;
  char* bytes_ = nullptr;
};

TEST_F(IdleMemoryTest, UnmodifiedPagesOfFilesAreDroppedAndReadAgain) {
  protect();
  ASSERT_EQ(contents(), std::string(size(), 'f'));
  ASSERT_EQ(resident(), static_cast<long>(size() / 1024));
  EXPECT_GT(dropCleanFilePages(), 0U);
  EXPECT_EQ(resident(), 0);
  EXPECT_EQ(contents(), std::string(size(), 'f'));
}

TEST_F(IdleMemoryTest, ModifiedPagesStay) {
  bytes_[0] = 'm';
  protect();
  (void)dropCleanFilePages();
  EXPECT_EQ(bytes_[0], 'm');
  EXPECT_EQ(contents().substr(1), std::string(size() - 1, 'f'));
}

TEST_F(IdleMemoryTest, WritablePagesStay) {
  ASSERT_EQ(contents(), std::string(size(), 'f'));
  (void)dropCleanFilePages();
  EXPECT_EQ(resident(), static_cast<long>(size() / 1024));
}

TEST_F(IdleMemoryTest, AListThatIsNoneDropsNothing) {
  const std::string list = folder_.path() + "/list";
  std::ofstream(list) << "Anonymous: 0 kB\nzz-yy r--p 0 0:0 1 /x\nAnonymous: 0 kB\n";
  EXPECT_EQ(dropCleanFilePages(list), 0U);
  EXPECT_EQ(dropCleanFilePages(folder_.path() + "/absent"), 0U);
}

TEST_F(IdleMemoryTest, AReleaseAfterMuchWasTouchedDropsUnmodifiedPages) {
  protect();
  IdleMemory memory;
  memory.release();
  const std::string touched(std::size_t{8} << 20, 't');
  ASSERT_EQ(contents(), std::string(size(), 'f'));
  ASSERT_EQ(resident(), static_cast<long>(size() / 1024));
  memory.release();
  EXPECT_EQ(resident(), 0);
  EXPECT_EQ(touched.back(), 't');
}

}  // namespace
}  // namespace tarvel
