#include "platform/linux/base/idle_memory.h"

#include <malloc.h>
#include <sys/mman.h>
#include <sys/resource.h>

#include <cstdint>
#include <fstream>
#include <optional>
#include <sstream>
#include <string_view>

namespace tarvel {

namespace {

/// More than an agent needs to handle an event, less than it needs to start or to sort.
constexpr long kWorthwhileFaults = 256;

struct Mapping {
  std::uintptr_t start = 0;
  std::uintptr_t end = 0;
  bool isDroppable = false;
};

/// The first line of a mapping: "start-end perms offset device inode path". None for the other lines, which begin with
/// a name.
std::optional<Mapping> readHeader(const std::string& line) {
  std::istringstream words(line);
  Mapping mapping;
  std::string permissions;
  std::string offset;
  std::string device;
  std::uint64_t inode = 0;
  char dash = 0;
  words >> std::hex >> mapping.start >> dash >> mapping.end >> permissions >> offset >> device >> std::dec >> inode;
  if (!words || dash != '-' || permissions.size() != 4) return std::nullopt;
  mapping.isDroppable = inode != 0 && permissions[0] == 'r' && permissions[1] == '-' && permissions[3] == 'p';
  return mapping;
}

bool isUnmodified(std::string_view amount) { return amount.find_first_not_of(" 0kB") == std::string_view::npos; }

bool drop(const Mapping& mapping) {
  void* const start = reinterpret_cast<void*>(mapping.start);  // NOLINT: an address in text form
  return ::madvise(start, mapping.end - mapping.start, MADV_DONTNEED) == 0;
}

}  // namespace

std::size_t dropCleanFilePages(const std::string& maps) {
  constexpr std::string_view kModified = "Anonymous:";
  std::ifstream file(maps);
  std::size_t dropped = 0;
  Mapping mapping;
  for (std::string line; std::getline(file, line);) {
    mapping = readHeader(line).value_or(mapping);
    if (!mapping.isDroppable || !line.starts_with(kModified)) continue;
    if (isUnmodified(std::string_view(line).substr(kModified.size())) && drop(mapping)) ++dropped;
  }
  return dropped;
}

void IdleMemory::release() {
  rusage usage{};
  if (::getrusage(RUSAGE_SELF, &usage) != 0 || usage.ru_minflt - faultsBefore_ < kWorthwhileFaults) return;
  (void)::malloc_trim(0);
  (void)dropCleanFilePages();
  if (::getrusage(RUSAGE_SELF, &usage) == 0) faultsBefore_ = usage.ru_minflt;
}

}  // namespace tarvel
