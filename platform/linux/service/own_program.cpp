#include "platform/linux/service/own_program.h"

#include <sys/stat.h>
#include <unistd.h>

#include <ctime>
#include <filesystem>
#include <fstream>
#include <system_error>
#include <utility>

namespace tarvel {

namespace {

constexpr std::time_t kSettled = 2;

}  // namespace

OwnProgram::OwnProgram(std::string link, std::string groups) : link_(std::move(link)), groups_(std::move(groups)) {
  std::error_code error;
  path_ = std::filesystem::read_symlink(link_, error).string();
}

bool OwnProgram::isReplaced() const {
  struct stat executed {};
  struct stat named {};
  timespec now{};
  if (::stat(link_.c_str(), &executed) != 0 || ::stat(path_.c_str(), &named) != 0) return false;
  const bool isSame = executed.st_dev == named.st_dev && executed.st_ino == named.st_ino;
  if (isSame || !S_ISREG(named.st_mode) || ::access(path_.c_str(), X_OK) != 0) return false;
  // A ctime in the future means that the clock was set, not that the file is new.
  (void)::clock_gettime(CLOCK_REALTIME, &now);
  return now.tv_sec - named.st_ctim.tv_sec >= kSettled || named.st_ctim.tv_sec - now.tv_sec >= kSettled;
}

bool OwnProgram::isRunByUnit(const std::string& unit) const {
  std::ifstream groups(groups_);
  for (std::string line; std::getline(groups, line);) {
    if (line.ends_with("/" + unit)) return true;
  }
  return false;
}

}  // namespace tarvel
