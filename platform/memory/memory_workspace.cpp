#include "platform/memory/memory_workspace.h"

#include <charconv>

namespace tarvel {

namespace {

std::string hexadecimal(std::uint32_t number) {
  char digits[8];
  const auto written = std::to_chars(std::begin(digits), std::end(digits), number, 16);
  return "0x" + std::string(digits, written.ptr);
}

}  // namespace

bool MemoryWorkspace::launchApplicationAtUrlOptions(const std::string& path, std::uint32_t options) {
  launches_.push_back("url " + path + " " + hexadecimal(options));
  return offersUrl_ && urlLaunchWorks_ && isThere(path);
}

bool MemoryWorkspace::launchApplication(const std::string& path) {
  launches_.push_back("path " + path);
  return pathLaunchWorks_ && isThere(path);
}

bool MemoryWorkspace::launchAppWithBundleIdentifierOptions(std::string_view bundleIdentifier, std::uint32_t options) {
  launches_.push_back("identifier " + std::string(bundleIdentifier) + " " + hexadecimal(options));
  return identifierLaunchWorks_ && !bundleIdentifier.empty();
}

}  // namespace tarvel
