#include "platform/linux/base/memory_limit.h"

#include <unistd.h>

#include <algorithm>
#include <fstream>
#include <optional>

namespace tarvel {

namespace {

/// The soft limit before limitMemoryUse(); none if that changed nothing.
std::optional<rlim_t> softLimitBefore;

std::uint64_t memoryOfMachine() {
  return static_cast<std::uint64_t>(::sysconf(_SC_PHYS_PAGES)) * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

/// In bytes: private writable memory, which is what RLIMIT_DATA counts.
std::uint64_t dataInUse() {
  std::uint64_t pages[6] = {};
  std::ifstream file("/proc/self/statm");
  for (std::uint64_t& count : pages) file >> count;
  return pages[5] * static_cast<std::uint64_t>(::sysconf(_SC_PAGESIZE));
}

/// The cgroup in the unified hierarchy, "" for its root; none when the process is in none.
std::optional<std::string> controlGroup(const std::string& groups) {
  constexpr std::string_view kUnified = "0::/";
  std::ifstream file(groups);
  for (std::string line; std::getline(file, line);) {
    if (!line.starts_with(kUnified) || line.find("..") != std::string::npos) continue;
    return line.size() == kUnified.size() ? std::string() : line.substr(kUnified.size() - 1);
  }
  return std::nullopt;
}

void setSoftLimit(rlim_t soft) {
  rlimit limit{};
  if (::getrlimit(RLIMIT_DATA, &limit) != 0) return;
  limit.rlim_cur = soft;
  (void)::setrlimit(RLIMIT_DATA, &limit);
}

}  // namespace

std::uint64_t memoryAllowance(const std::string& groups, const std::string& hierarchy) {
  std::uint64_t allowance = memoryOfMachine();
  std::optional<std::string> group = controlGroup(groups);
  while (group) {
    std::ifstream file(hierarchy + *group + "/memory.max");
    // Without a limit the file contains "max", which does not parse.
    if (std::uint64_t most = 0; file >> most) allowance = std::min(allowance, most);
    group = group->empty() ? std::nullopt : std::optional(group->substr(0, group->rfind('/')));
  }
  return allowance;
}

void limitMemoryUse() {
  const rlim_t most = memoryAllowance() / 16 * 15;
  rlimit limit{};
  if (::getrlimit(RLIMIT_DATA, &limit) != 0 || limit.rlim_cur <= most || dataInUse() > most / 2) return;
  softLimitBefore = limit.rlim_cur;
  setSoftLimit(most);
}

LiftedMemoryLimit::LiftedMemoryLimit() : limited_(RLIM_INFINITY) {
  rlimit limit{};
  if (!softLimitBefore || ::getrlimit(RLIMIT_DATA, &limit) != 0) return;
  limited_ = limit.rlim_cur;
  setSoftLimit(*softLimitBefore);
}

LiftedMemoryLimit::~LiftedMemoryLimit() {
  if (softLimitBefore) setSoftLimit(limited_);
}

}  // namespace tarvel
