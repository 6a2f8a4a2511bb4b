// dump: any property list, shown or converted.

#include <unistd.h>

#include <array>
#include <cerrno>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "engine/tarvel.h"
#include "platform/linux/base/safe_text.h"
#include "platform/linux/files/file_size_limit.h"
#include "platform/plist/unfolding.h"
#include "platform/plist/xml_writer.h"
#include "tools/backups/command_paths.h"
#include "tools/commands/commands.h"
#include "tools/report/property_list_json.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

namespace {

/// All of it, up to the limit on files. The stream is read in pieces, so that one without end takes no room without
/// end.
FileReading readStandardInput() {
  constexpr std::size_t kPieceSize = std::size_t{1} << 16;
  const std::size_t most = fileSizeLimit();
  std::string bytes;
  std::array<char, kPieceSize> piece{};
  while (std::cin.read(piece.data(), piece.size()), std::cin.gcount() > 0) {
    bytes.append(piece.data(), static_cast<std::size_t>(std::cin.gcount()));
    if (bytes.size() > most) return {{}, fileTooLarge(most, "standard input")};
  }
  return {Data::copyOf(bytes), {}};
}

FileReading readInput(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
                      std::string& name) {
  if (line.file == "-") {
    name = "standard input";
    return readStandardInput();
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

/// Whether what reads the output still does is seen piece by piece.
bool print(std::string_view piece) {
  std::cout.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  return static_cast<bool>(std::cout);
}

/// For a terminal. Pieces end between elements, so each can be escaped by itself.
bool printEscapedXml(std::string_view piece) { return print(escapedXml(piece)); }

std::optional<PropertyListError> writeBinary(const Platform& platform, const PropertyList& list) {
  PropertyListWriting writing =
      platform.propertyLists.dataWithPropertyList(list, static_cast<std::uint32_t>(PropertyListFormat::kBinary));
  for (const auto& piece : writing.data.pieces) {
    if (!print({reinterpret_cast<const char*>(piece.data()), piece.size()})) break;  // NOLINT: bytes read as chars
  }
  return std::move(writing.error);
}

std::optional<PropertyListError> write(const Platform& platform, const PropertyList& list, DumpFormat format) {
  switch (format) {
    case DumpFormat::kJson:
      if (unfoldsTooFar(list.root)) return PropertyListError{kUnfoldsTooFar, 0, {}};
      writePropertyListAsJson(list.root, print);
      return std::nullopt;
    case DumpFormat::kXml:
      return writeXmlTo(list, isatty(STDOUT_FILENO) == 1 ? printEscapedXml : print);
    case DumpFormat::kBinary:
      return writeBinary(platform, list);
  }
  return std::nullopt;
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
  const auto error = write(platform, reading.list, line.dumpFormat);
  return error ? complain(name, error->description, TarvelErrorWriteFailed) : 0;
}

}  // namespace tarvel
