#include "tools/command_line/argument_parser.h"

#include <algorithm>
#include <iostream>
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
  constexpr std::string_view kGlobal[] = {"-q",         "--quiet", "-v",        "--verbose", "--json",
                                          "--no-pager", "-V",      "--version", "-qv"};
  return std::ranges::count(kGlobal, argument) != 0 || argument.starts_with("--color=");
}

/// The arguments with the global options in front, where the parser expects them, and "help COMMAND" as
/// "COMMAND --help". What follows "--" stays as it is.
std::vector<std::string> arranged(const std::vector<std::string>& given) {
  std::vector<std::string> global;
  std::vector<std::string> rest;
  const auto end = std::ranges::find(given, "--");
  for (auto at = given.begin(); at != end; ++at) {
    if (*at == "--color" && at + 1 != end) {
      global.push_back(*at + "=" + *(at + 1));
      ++at;
    } else {
      (isGlobal(*at) ? global : rest).push_back(*at);
    }
  }
  if (!rest.empty() && rest.front() == "help") {
    rest.erase(rest.begin());
    rest.emplace_back("--help");
  }
  global.insert(global.end(), rest.begin(), rest.end());
  global.insert(global.end(), end, given.end());
  return global;
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
  refuseContradictions(line);
  line.name = nameOfParsed(app);
  if (line.name == "backup") line.name = "backup create";
  if (line.name == "settings") line.name = "settings list";
  if (line.name == "agent") line.name = "agent status";
}

/// Answers with what is wrong. Not every option was parsed, so JSON is looked for here.
int explain(CLI::App& app, const CommandLine& line, const CLI::ParseError& error,
            const std::vector<std::string>& arguments) {
  const auto end = std::ranges::find(arguments, "--");
  OutputOptions options = line.output;
  options.isJson = std::find(arguments.begin(), end, "--json") != end;
  Answer answer(nameOfParsed(app), options);
  return answer.fail(kExitUsage, usageMessage(app, error, arguments));
}

}  // namespace

ParsedCommandLine parseCommandLine(int argc, const char* const* argv) {
  ParsedCommandLine parsed;
  const std::vector<std::string> arguments = arranged({argv + std::min(argc, 1), argv + argc});
  CLI::App app;
  defineCommandLine(app, parsed.line);
  try {
    parse(app, parsed.line, arguments);
  } catch (const CLI::CallForHelp& call) {
    parsed.isDone = true;
    if (isCommandUnknown(app, arguments)) {
      parsed.exitStatus = explain(app, parsed.line, call, arguments);
    } else {
      std::cout << helpText(innermostParsed(app), nameOfParsed(app), helpColumns());
    }
  } catch (const CLI::CallForVersion& version) {
    parsed.isDone = true;
    std::cout << version.what() << "\n";
  } catch (const CLI::ParseError& error) {
    parsed.isDone = true;
    parsed.exitStatus = explain(app, parsed.line, error, arguments);
  }
  return parsed;
}

}  // namespace tarvel
