// dump: any property list, shown or converted.

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <iterator>
#include <optional>
#include <string>

#include "engine/tarvel.h"
#include "tools/commands.h"
#include "tools/paths.h"
#include "tools/property_list_json.h"
#include "tools/shown_progress.h"

namespace tarvel {

namespace {

FileReading readInput(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
                      std::string& name) {
  if (line.file == "-") {
    name = "standard input";
    const std::string bytes{std::istreambuf_iterator<char>(std::cin), std::istreambuf_iterator<char>()};
    return {Data::copyOf(bytes), {}};
  }
  name = bookmarksFilePath(platform.fileManager, line, settings);
  return platform.fileManager.contentsAtPath(name);
}

int complain(const std::string& name, const std::string& reason, int exitStatus) {
  std::cerr << "tarvel: “" << printable(name) << "”: " << printable(reason) << "\n";
  return exitStatus;
}

std::string reasonOf(const PropertyListError& error) {
  const std::string& reason = error.binaryDescription.empty() ? error.description : error.binaryDescription;
  if (error.line == 0 || !error.binaryDescription.empty()) return reason;
  return "line " + std::to_string(error.line) + ": " + reason;
}

int writeForm(const Platform& platform, const PropertyList& list, DumpFormat format, const std::string& name) {
  const auto number =
      static_cast<std::uint32_t>(format == DumpFormat::kXml ? PropertyListFormat::kXml : PropertyListFormat::kBinary);
  const PropertyListWriting writing = platform.propertyLists.dataWithPropertyList(list, number);
  if (writing.error) return complain(name, writing.error->description, TarvelErrorWriteFailed);
  const bool isShown = format == DumpFormat::kXml && isatty(STDOUT_FILENO) == 1;
  std::cout << (isShown ? escapedXml(writing.data.joined()) : writing.data.joined());
  return 0;
}

}  // namespace

int runDump(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  if (line.dumpFormat == DumpFormat::kBinary && isatty(STDOUT_FILENO) == 1) {
    std::cerr << "tarvel: The binary form is not for terminals; send it to a file, or use --format xml.\n";
    return kExitUsage;
  }
  std::string name;
  std::optional<ShownProgress> shown;
  // Who types the input is not to be written over.
  if (line.file != "-") shown.emplace(platform);
  const FileReading input = readInput(platform, line, settings, name);
  if (!input.status.ok()) {
    shown.reset();
    return complain(name, input.status.reason,
                    input.status.code == ENOENT ? TarvelErrorBookmarksFileNotFound : TarvelErrorReadFailed);
  }
  const PropertyListReading reading = platform.propertyLists.propertyListFromData(input.data);
  shown.reset();
  if (reading.error) return complain(name, reasonOf(*reading.error), TarvelErrorReadFailed);
  if (line.dumpFormat != DumpFormat::kJson) return writeForm(platform, reading.list, line.dumpFormat, name);
  std::cout << propertyListAsJson(reading.list.root);
  return 0;
}

}  // namespace tarvel
