#include "tools/command_line/argument_parser.h"

#include <algorithm>
#include <iostream>
#include <iterator>
#include <optional>
#include <string_view>
#include <utility>

#include "tools/command_line/command_definition.h"
#include "tools/command_line/help_text.h"
#include "tools/command_line/usage_error.h"
#include "tools/terminal/answer.h"
#include "tools/terminal/text.h"

namespace tarvel {

namespace {

bool isGlobal(std::string_view argument) {
  constexpr std::string_view kGlobal[] = {"-q",     "--quiet",    "-v", "--verbose",
                                          "--json", "--no-pager", "-V", "--version"};
  return std::ranges::count(kGlobal, argument) != 0 || argument.starts_with("--color=");
}

/// Several flags in one argument, such as "-nq": none of them takes a value.
bool isBunch(std::string_view argument) {
  return argument.size() > 2 && argument.front() == '-' &&
         argument.find_first_not_of("hnqvVy", 1) == std::string_view::npos;
}

/// The arguments with the global options in front, where the parser expects them. What follows "--" stays as it is.
std::vector<std::string> arranged(const std::vector<std::string>& given) {
  std::vector<std::string> global;
  std::vector<std::string> rest;
  const auto put = [&](const std::string& argument) { (isGlobal(argument) ? global : rest).push_back(argument); };
  const auto end = std::ranges::find(given, "--");
  for (auto at = given.begin(); at != end; ++at) {
    if (*at == "--color" && at + 1 != end) {
      put(*at + "=" + *(at + 1));
      ++at;
    } else if (isBunch(*at)) {
      for (const char flag : at->substr(1)) put({'-', flag});
    } else {
      put(*at);
    }
  }
  global.insert(global.end(), rest.begin(), rest.end());
  global.insert(global.end(), end, given.end());
  return global;
}

/// The words after "help"; none where the first word is another.
std::optional<std::vector<std::string>> wordsAfterHelp(const std::vector<std::string>& arguments) {
  std::vector<std::string> words;
  std::ranges::copy_if(arguments, std::back_inserter(words),
                       [](const std::string& argument) { return !isGlobal(argument); });
  if (words.empty() || words.front() != "help") return std::nullopt;
  words.erase(words.begin());
  std::erase_if(words, [](const std::string& word) { return word == "-h" || word == "--help" || word == "--"; });
  return words;
}

/// An option that ends with its equals sign, as when a shell variable is not set: the parser would take the next
/// argument, such as the file, for its value.
void refuseEmptyValues(const std::vector<std::string>& arguments) {
  for (const std::string& argument : arguments) {
    if (argument == "--") return;
    if (!argument.starts_with("--") || !argument.ends_with('=')) continue;
    throw CLI::ValidationError(argument.substr(0, argument.size() - 1),
                               "the value is empty; is a variable of your shell not set?");
  }
}

/// Options of which each makes sense alone.
void refuseContradictions(const CommandLine& line) {
  const auto refuse = [](bool isWrong, const char* first, const char* second) {
    if (isWrong) throw CLI::ValidationError(first, std::string("does not go together with ") + second);
  };
  refuse(line.output.isQuiet && line.output.isVerbose, "--quiet", "--verbose");
  refuse(line.output.isJson && !line.html.empty(), "--json", "--html");
  refuse(line.output.isJson && line.opensPage, "--json", "--open");
  refuse(line.output.isJson && !line.outputFile.empty(), "--json", "--output");
  refuse(line.output.isJson && line.follows, "--json", "--follow");
  refuse(line.command == Command::kDiff && line.file == kStandardInput && line.newFile == kStandardInput, "OLD",
         "NEW where both are standard input");
  const bool isOtherFormat = line.dumpFormat == DumpFormat::kBinary;
  refuse(line.output.isJson && isOtherFormat, "--json", "--format binary");
  const bool takesStandardInput =
      line.command == Command::kPreview || line.command == Command::kDiff || line.command == Command::kDump;
  if (line.file == kStandardInput && !takesStandardInput) {
    throw CLI::ValidationError("FILE", "only preview, diff and dump read standard input");
  }
}

void parse(CLI::App& app, CommandLine& line, const std::vector<std::string>& arguments) {
  refuseEmptyValues(arguments);
  // The parser takes the last argument first.
  app.parse(std::vector<std::string>(arguments.rbegin(), arguments.rend()));
  if (!line.html.empty() && line.html != "-" && line.outputFile.empty()) line.outputFile = line.html;
  // The parser takes it for the bookmarks file.
  if (!line.html.empty() && pageAfterHtml(arguments)) throw CLI::ValidationError("--html", "takes no file");
  refuseContradictions(line);
  line.name = nameOfParsed(app);
  if (line.name == "backup") line.name = "backup create";
  if (line.name == "settings") line.name = "settings list";
  if (line.name == "agent") line.name = "agent status";
  if (line.name == "browser") line.name = "browser status";
}

/// Answers with what is wrong. Not every option was parsed, so JSON is looked for here.
int explain(const CLI::App& app, const CommandLine& line, const Message& message,
            const std::vector<std::string>& arguments) {
  const auto end = std::ranges::find(arguments, "--");
  OutputOptions options = line.output;
  options.isJson = std::find(arguments.begin(), end, "--json") != end;
  return Answer(nameOfParsed(app), options).fail(kExitUsage, message);
}

/// "help", with the words that name a command.
int showHelp(const CLI::App& app, const CommandLine& line, const std::vector<std::string>& words,
             const std::vector<std::string>& arguments) {
  const CLI::App* command = &app;
  std::string name;
  for (const std::string& word : words) {
    const std::vector<const CLI::App*> below = command->get_subcommands({});
    const auto next = std::ranges::find(below, word, &CLI::App::get_name);
    if (next == below.end()) return explain(app, line, unknownCommand(*command, name, word), arguments);
    command = *next;
    name += (name.empty() ? "" : " ") + word;
  }
  std::cout << helpText(*command, name, helpColumns());
  return 0;
}

}  // namespace

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
  ParsedCommandLine parsed;
  const std::vector<std::string> arguments = arranged({argv + std::min(argc, 1), argv + argc});
  CLI::App app;
  defineCommandLine(app, parsed.line);
  if (const auto words = wordsAfterHelp(arguments)) {
    parsed.isDone = true;
    parsed.exitStatus = showHelp(app, parsed.line, *words, arguments);
    return parsed;
  }
  try {
    parse(app, parsed.line, arguments);
  } catch (const CLI::CallForHelp& call) {
    parsed.isDone = true;
    if (isCommandUnknown(app, arguments)) {
      parsed.exitStatus = explain(app, parsed.line, usageMessage(app, call, arguments), arguments);
    } else {
      std::cout << helpText(innermostParsed(app), nameOfParsed(app), helpColumns());
    }
  } catch (const CLI::CallForVersion& version) {
    parsed.isDone = true;
    std::cout << version.what() << "\n";
  } catch (const CLI::ParseError& error) {
    parsed.isDone = true;
    parsed.exitStatus = explain(app, parsed.line, usageMessage(app, error, arguments), arguments);
  }
  return parsed;
}

}  // namespace tarvel
