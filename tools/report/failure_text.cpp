#include "tools/report/failure_text.h"

#include <cerrno>
#include <exception>

#include "engine/tarvel.h"
#include "tools/files/standard_input.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

/// What the engine says of it, one sentence each.
std::vector<std::string> engineSentences(const Platform& platform, const Failure& failure) {
  const std::string text =
      Tarvel::stringFromTarvelErrorAndFilename(platform.bundle, failure.code, shownFile(failure.file));
  // The name of the file may have full stops.
  const std::size_t name = text.rfind("”");
  const std::size_t end = name == std::string::npos ? name : text.find(". ", name);
  if (end == std::string::npos) return {text};
  return {text.substr(0, end + 1), text.substr(end + 2)};
}

/// With the line where one is known.
std::string contentsError(const PropertyListError& error) {
  const std::string& reason = error.binaryDescription.empty() ? error.description : error.binaryDescription;
  const bool hasLine = error.line == 0 || reason.find(" line ") != std::string::npos;
  if (hasLine || !error.binaryDescription.empty()) return reason;
  return "line " + std::to_string(error.line) + ": " + reason;
}

/// The command's own words where the engine's would ask to verify access, which need not be at fault.
std::vector<std::string> ownSentences(const Failure& failure) {
  const std::string name = quotedText(shownFile(failure.file));
  const bool hasReason = !failure.reason.empty();
  switch (failure.code) {
    case TarvelErrorReadFailed:
      if (hasReason) return {name + " could not be read."};
      break;
    case TarvelErrorWriteFailed:
      return {name + " could not be written.",
              hasReason ? "" : "Check that you can write to it, and that the disk is not full."};
    case TarvelErrorBackupFailed:
      return {"No backup could be made in " + name + ".",
              hasReason ? "" : "Check that you can write there, and that the disk is not full."};
    case TarvelErrorOutputFileNotFound:
      return {"There is no bookmarks file " + name + "."};
    default:
      break;
  }
  return {};
}

}  // namespace

std::string reasonOf(const Platform& platform, const FileReading& reading) {
  if (reading.status.code == EISDIR) return "It is a folder.";
  if (!reading.status.ok()) return reasonOf(reading.status);
  if (reading.data.size() == 0) return "It is empty.";
  const PropertyListReading list = platform.propertyLists.propertyListFromData(reading.data);
  return list.error ? "It is not a property list: " + sentenceOf(printable(contentsError(*list.error))) : std::string();
}

std::string reasonFor(const Platform& platform, const std::string& file) try {
  return reasonOf(platform, platform.fileManager.contentsAtPath(file));
} catch (const std::exception&) {
  // What is left to throw is memory running out, as it did before.
  return "There is not enough memory to read it.";
}

std::string shownFile(const std::string& path) {
  return path == kStandardInputPath ? kStandardInputName : shownPath(path);
}

Failure failureOf(const Platform& platform, std::int32_t code, const std::string& file) {
  const bool isAboutContents = code == TarvelErrorReadFailed || code == TarvelErrorNotBookmarksFile;
  return {code, file, isAboutContents ? reasonFor(platform, file) : std::string()};
}

Message messageOf(const Platform& platform, const Failure& failure) {
  Message message{ownSentences(failure), {}};
  if (message.sentences.empty()) message.sentences = engineSentences(platform, failure);
  message.sentences.insert(message.sentences.end(), {failure.reason, kNothingChanged});
  return message;
}

}  // namespace tarvel
