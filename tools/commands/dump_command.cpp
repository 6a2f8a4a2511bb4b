// dump: any property list, shown or converted.

#include <unistd.h>

#include <cerrno>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

#include "engine/tarvel.h"
#include "platform/linux/base/safe_text.h"
#include "platform/plist/text_output.h"
#include "platform/plist/xml_writer.h"
#include "tools/backups/command_paths.h"
#include "tools/commands/commands.h"
#include "tools/files/paths.h"
#include "tools/files/standard_input.h"
#include "tools/report/failure_text.h"
#include "tools/report/property_list_json.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/shown_progress.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

struct Input {
  /// As it is shown.
  std::string name;
  FileReading reading;
};

Input readInput(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  if (line.file == kStandardInput) return {kStandardInputName, readStandardInput()};
  const std::string path = bookmarksFilePath(platform.fileManager, line, settings);
  // Progress must not overwrite what the user types as standard input.
  const ShownProgress shown(platform);
  return {shownPath(path), platform.fileManager.contentsAtPath(path)};
}

int failToRead(Answer& answer, const Platform& platform, const CommandLine& line, const Input& input) {
  const int code = input.reading.status.code;
  if (code != ENOENT && code != ENOTDIR) {
    return answer.fail(TarvelErrorReadFailed,
                       {{quotedText(input.name) + " could not be read.", reasonOf(platform, input.reading)}, {}});
  }
  Message message{{"There is no file " + quotedText(input.name) + "."}, {}};
  if (line.file.empty()) {
    message.sentences.emplace_back("If your file is elsewhere, pass its path:");
    message.command = "tarvel dump PATH";
  }
  return answer.fail(TarvelErrorBookmarksFileNotFound, message);
}

int failToWrite(Answer& answer, const std::string& name, const std::string& reason) {
  return answer.fail(TarvelErrorWriteFailed,
                     {{quotedText(name) + " cannot be written in this form.", sentenceOf(printable(reason))}, {}});
}

int refuseTerminal(Answer& answer, const CommandLine& line) {
  const std::string file = line.file.empty() ? "" : " " + shellWord(line.file);
  return answer.fail(kExitUsage, {{"The binary format cannot be shown on a terminal.", "Write it to a file:"},
                                  "tarvel dump --format binary -o FILE" + file});
}

/// False once the reader of standard output is gone.
bool print(std::string_view piece) {
  std::cout.write(piece.data(), static_cast<std::streamsize>(piece.size()));
  return static_cast<bool>(std::cout);
}

std::optional<PropertyListError> writeBinary(const Platform& platform, const PropertyList& list, const ByteSink& sink) {
  PropertyListWriting writing =
      platform.propertyLists.dataWithPropertyList(list, static_cast<std::uint32_t>(PropertyListFormat::kBinary));
  for (const auto& piece : writing.data.pieces) {
    if (!sink({reinterpret_cast<const char*>(piece.data()), piece.size()})) break;  // NOLINT: bytes read as chars
  }
  return std::move(writing.error);
}

std::optional<PropertyListError> write(const Platform& platform, const PropertyList& list, DumpFormat format,
                                       const ByteSink& sink) {
  switch (format) {
    case DumpFormat::kJson:
      if (unfoldsTooFar(list.root)) return PropertyListError{kUnfoldsTooFar, 0, {}};
      writePropertyListAsJson(list.root, sink);
      return std::nullopt;
    case DumpFormat::kXml:
      return writeXmlTo(list, sink);
    case DumpFormat::kBinary:
      return writeBinary(platform, list, sink);
  }
  return std::nullopt;
}

int writeFile(Answer& answer, const Platform& platform, const CommandLine& line, const PropertyList& list) {
  FileManager& files = platform.fileManager;
  const std::string path = files.stringByExpandingTildeInPath(absolutePath(line.outputFile));
  std::string bytes;
  const auto error = write(platform, list, line.dumpFormat, [&bytes](std::string_view piece) {
    bytes += piece;
    return true;
  });
  if (error) return failToWrite(answer, shownPath(path), error->description);
  const Data data = Data::copyOf(bytes);
  const FileStatus status = files.createFileAtPath({{data.bytes()}, {}}, path);
  if (!status.ok()) {
    const std::string reason =
        status.code == EEXIST ? "It exists already, and a dump replaces nothing." : reasonOf(status);
    return answer.fail(TarvelErrorWriteFailed,
                       {{quotedPath(path) + " could not be written.", reason, kNothingChanged}, {}});
  }
  answer.hint("The list was written to " + quotedPath(path) + ".");
  return answer.end(0);
}

/// The envelope with the list as its last field, which is written piece by piece: a small list can be very much text.
int writeEnvelope(Answer& answer, const std::string& name, const PropertyList& list) {
  if (unfoldsTooFar(list.root)) {
    return failToWrite(answer, name, kUnfoldsTooFar);
  }
  return answer.endWith(0, "propertyList", [&list](const auto& sink) { writePropertyListAsJson(list.root, sink); });
}

}  // namespace

int runDump(const Platform& platform, const CommandLine& line, const CommandSettings& settings) {
  Answer answer(line.name, line.output);
  const bool isTerminal = ::isatty(STDOUT_FILENO) == 1 && line.outputFile.empty();
  if (line.dumpFormat == DumpFormat::kBinary && isTerminal) return refuseTerminal(answer, line);
  const Input input = readInput(platform, line, settings);
  if (!input.reading.status.ok()) return failToRead(answer, platform, line, input);
  const PropertyListReading reading = platform.propertyLists.propertyListFromData(input.reading.data);
  if (reading.error) return failToRead(answer, platform, line, input);
  if (answer.isJson()) {
    answer["file"] =
        line.file == kStandardInput ? kStandardInput : bookmarksFilePath(platform.fileManager, line, settings);
    return writeEnvelope(answer, input.name, reading.list);
  }
  if (!line.outputFile.empty()) return writeFile(answer, platform, line, reading.list);
  answer.page();
  const bool isEscaped = isTerminal && line.dumpFormat == DumpFormat::kXml;
  // Pieces end between elements, so each can be escaped alone.
  const auto error = write(platform, reading.list, line.dumpFormat, [isEscaped](std::string_view piece) {
    return isEscaped ? print(escapedXml(piece)) : print(piece);
  });
  return error ? failToWrite(answer, input.name, error->description) : answer.end(0);
}

}  // namespace tarvel
