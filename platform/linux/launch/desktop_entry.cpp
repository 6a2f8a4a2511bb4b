#include "platform/linux/launch/desktop_entry.h"

#include <sys/stat.h>

#include <cstdlib>
#include <map>
#include <sstream>

#include "platform/linux/files/file_reading.h"
#include "platform/text_components.h"

namespace tarvel {

namespace {

constexpr const char* kUsualPath = "/usr/local/bin:/usr/bin:/bin";
constexpr off_t kLargestEntry = off_t{1024} * 1024;
using Entries = std::map<std::string, std::string, std::less<>>;

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && (text.front() == ' ' || text.front() == '\t')) text.remove_prefix(1);
  while (!text.empty() && (text.back() == ' ' || text.back() == '\t' || text.back() == '\r')) text.remove_suffix(1);
  return text;
}

/// Resolves the escapes of values: white space and backslash.
std::string unescaped(std::string_view value) {
  std::string text;
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      text.push_back(value[i]);
      continue;
    }
    switch (const char escaped = value[++i]) {
      case 's':
        text.push_back(' ');
        break;
      case 'n':
        text.push_back('\n');
        break;
      case 't':
        text.push_back('\t');
        break;
      case 'r':
        text.push_back('\r');
        break;
      case '\\':
        text.push_back('\\');
        break;
      default:
        text.push_back('\\');
        text.push_back(escaped);
    }
  }
  return text;
}

/// The keys of the group "Desktop Entry".
Entries entriesOf(const std::string& contents) {
  Entries entries;
  std::istringstream lines(contents);
  bool isInGroup = false;
  for (std::string line; std::getline(lines, line);) {
    const std::string_view text = trimmed(line);
    if (text.empty() || text.front() == '#') continue;
    if (text.front() == '[') {
      isInGroup = text == "[Desktop Entry]";
      continue;
    }
    const std::size_t equals = text.find('=');
    if (!isInGroup || equals == std::string_view::npos) continue;
    entries.emplace(trimmed(text.substr(0, equals)), unescaped(trimmed(text.substr(equals + 1))));
  }
  return entries;
}

std::string valueOf(const Entries& entries, std::string_view key) {
  const auto found = entries.find(key);
  return found == entries.end() ? std::string() : found->second;
}

/// The program's path; empty if it is not found. Never depends on the working folder: paths must be absolute, and so
/// must the entries of PATH.
std::string locationOf(const std::string& program) {
  if (program.find('/') != std::string::npos) {
    return program.starts_with('/') && isExecutableFile(program) ? program : std::string();
  }
  const char* path = std::getenv("PATH");
  for (const std::string& folder : componentsSeparatedBy(path == nullptr ? kUsualPath : path, ':')) {
    std::string candidate = folder;
    candidate.append("/").append(program);
    if (folder.starts_with('/') && isExecutableFile(candidate)) return candidate;
  }
  return {};
}

/// A field code: "%%" is a percent sign, all others expand to nothing.
void takeFieldCode(char code, std::string& word) {
  if (code == '%') word.push_back('%');
}

}  // namespace

std::vector<std::string> wordsOfExecLine(std::string_view line) {
  std::vector<std::string> words;
  std::string word;
  bool isWord = false;
  bool isQuoted = false;
  for (std::size_t i = 0; i < line.size(); ++i) {
    const char c = line[i];
    const bool hasNext = i + 1 < line.size();
    if (isQuoted && c == '\\' && hasNext) {
      word.push_back(line[++i]);
    } else if (c == '"') {
      isQuoted = !isQuoted;
      isWord = true;
    } else if (!isQuoted && (c == ' ' || c == '\t')) {
      if (isWord) words.push_back(std::move(word));
      word.clear();
      isWord = false;
    } else if (c == '%' && hasNext) {
      isWord |= line[i + 1] == '%';
      takeFieldCode(line[++i], word);
    } else {
      word.push_back(c);
      isWord = true;
    }
  }
  if (isQuoted) return {};
  if (isWord) words.push_back(std::move(word));
  return words;
}

std::optional<ProgramCommand> commandOfDesktopFile(const std::string& path) {
  struct stat status {};
  const UniqueFd fd = openRegular(path, status);
  if (!fd || status.st_size > kLargestEntry) return std::nullopt;
  const FileReading reading = readWhole(fd.get(), static_cast<std::size_t>(status.st_size), path);
  if (!reading.status.ok()) return std::nullopt;
  const auto bytes = reading.data.bytes();
  const Entries entries = entriesOf(std::string(bytes.begin(), bytes.end()));
  const std::string needed = valueOf(entries, "TryExec");
  const bool isUsable = valueOf(entries, "Type") == "Application" && valueOf(entries, "Hidden") != "true" &&
                        (needed.empty() || !locationOf(needed).empty());
  if (!isUsable) return std::nullopt;
  std::vector<std::string> words = wordsOfExecLine(valueOf(entries, "Exec"));
  if (words.empty() || words.front().empty()) return std::nullopt;
  std::string program = locationOf(words.front());
  if (program.empty()) return std::nullopt;
  return ProgramCommand{std::move(program), std::move(words), valueOf(entries, "Path")};
}

}  // namespace tarvel
