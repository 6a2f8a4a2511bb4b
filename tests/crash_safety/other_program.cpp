#include "tests/crash_safety/other_program.h"

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>

#include "platform/plist/serialization.h"
#include "tests/support/tree_notation.h"

namespace tarvel {

namespace {

bool writeAll(int fd, const std::string& bytes) {
  const auto size = static_cast<ssize_t>(bytes.size());
  return ::pwrite(fd, bytes.data(), bytes.size(), 0) == size && ::ftruncate(fd, size) == 0;
}

}  // namespace

bool OtherProgram::save() {
  const std::string bytes = bytesOf(lastSave_ + 1);
  const bool isSaved = method_ == SaveMethod::kRename ? saveByRename(bytes) : saveInto(bytes);
  if (isSaved) ++lastSave_;
  return isSaved;
}

bool OtherProgram::saveByRename(const std::string& bytes) const {
  const std::string fresh = file_ + ".fresh";
  const UniqueFd fd(::open(fresh.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  return fd && writeAll(fd.get(), bytes) && ::rename(fresh.c_str(), file_.c_str()) == 0;
}

bool OtherProgram::saveInto(const std::string& bytes) {
  constexpr int kFlags = O_RDWR | O_CREAT | O_NONBLOCK | O_CLOEXEC;
  if (method_ == SaveMethod::kRecreate) (void)::unlink(file_.c_str());
  if (keepsFileOpen() && open_) return writeAll(open_.get(), bytes);
  UniqueFd fd(::open(file_.c_str(), kFlags | (method_ == SaveMethod::kTruncate ? O_TRUNC : 0), 0600));
  if (!fd) return false;
  if (keepsFileOpen()) {
    // Only opened; the next call writes.
    open_ = std::move(fd);
    return false;
  }
  return writeAll(fd.get(), bytes);
}

std::string OtherProgram::bytesOf(int number) {
  PlistSerialization serialization;
  const PropertyList list =
      tree("Root[ BookmarksBar[ ] BookmarksMenu[ zebra yak x" + std::to_string(number) + " apple ] ]");
  list.root.dictionary().set(PropertyListKey{"Number"}, list.tree->makeInteger(number));
  return serialization.dataWithPropertyList(list, static_cast<std::uint32_t>(PropertyListFormat::kBinary))
      .data.joined();
}

int OtherProgram::numberIn(const std::string& bytes) {
  PlistSerialization serialization;
  const PropertyListReading reading = serialization.propertyListFromData(Data::copyOf(bytes));
  const auto number = reading.list.root.dictionary().get("Number").integer();
  return !reading.error && number ? static_cast<int>(*number) : -1;
}

}  // namespace tarvel
