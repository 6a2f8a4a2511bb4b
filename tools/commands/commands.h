#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "platform/platform.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/command_settings.h"
#include "tools/compare/difference_report.h"
#include "tools/terminal/confirmation_prompt.h"

namespace tarvel {

// The commands. Each writes its answer to standard output, its complaints to the error output, and answers the exit
// status. `platform` is the real one.

[[nodiscard]] int runSort(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runPreview(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
/// `prompt` is asked before a dated copy is put back. `isWatched` tells whether an agent runs that sorts the file at
/// the path given, as it would sort what is put back.
[[nodiscard]] int runRestore(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
                             ConfirmationPrompt& prompt, const std::function<bool(const std::string&)>& isWatched);
[[nodiscard]] int runBackup(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runDump(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runDiff(const Platform& platform, const CommandLine& line);

/// Two bookmarks files compared, or why not.
struct DifferenceReading {
  std::int32_t code = 0;  ///< As a sort of the file in question would give it.
  std::string message;    ///< For people, when the code is not 0.
  DifferenceReport report;
};

/// Reads two bookmarks files, full paths, and compares them.
[[nodiscard]] DifferenceReading differenceOf(const Platform& platform, const std::string& oldFile,
                                             const std::string& newFile);

}  // namespace tarvel
