#include "tools/report/failure_text.h"

#include <cerrno>
#include <exception>

#include "engine/tarvel.h"
#include "tools/files/standard_input.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

std::string engineSentence(const Platform& platform, const Failure& failure) {
  return Tarvel::stringFromTarvelErrorAndFilename(platform.bundle, failure.code, shownFile(failure.file));
}

/// With the line where one is known.
std::string contentsError(const PropertyListError& error) {
  const std::string& reason = error.binaryDescription.empty() ? error.description : error.binaryDescription;
  const bool hasLine = error.line == 0 || reason.find(" line ") != std::string::npos;
  if (hasLine || !error.binaryDescription.empty()) return reason;
  return "line " + std::to_string(error.line) + ": " + reason;
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
  const std::string name = quotedText(shownFile(failure.file));
  Message message;
  switch (failure.code) {
    case TarvelErrorReadFailed:
      // The engine's sentence asks to verify access, which is not at fault here.
      message.sentences = {failure.reason.empty() ? engineSentence(platform, failure) : name + " could not be read.",
                           failure.reason};
      break;
    case TarvelErrorOutputFileNotFound:
      message.sentences = {"There is no bookmarks file " + name + "."};
      break;
    default:
      message.sentences = {engineSentence(platform, failure), failure.reason};
      break;
  }
  message.sentences.emplace_back(kNothingChanged);
  return message;
}

}  // namespace tarvel
