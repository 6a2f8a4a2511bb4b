#pragma once

#include <functional>
#include <string>

#include "platform/platform.h"
#include "tools/command_line/command_line.h"
#include "tools/command_line/command_settings.h"
#include "tools/terminal/confirmation_prompt.h"

namespace tarvel {

// The commands about files. Each answers, see Answer, and returns the exit status. `platform` is the real one.

[[nodiscard]] int runSort(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runPreview(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runBackup(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runDump(const Platform& platform, const CommandLine& line, const CommandSettings& settings);
[[nodiscard]] int runDiff(const Platform& platform, const CommandLine& line);

/// What restore asks about, and of whom.
struct RestoreContext {
  ConfirmationPrompt& prompt;
  /// Whether an agent is running that sorts the file at a path, as it would sort what is put back.
  std::function<bool(const std::string&)> isWatched;
  /// Turns automatic sorting off. Returns what went wrong, empty for nothing.
  std::function<std::string()> disableAgent;
};

[[nodiscard]] int runRestore(const Platform& platform, const CommandLine& line, const CommandSettings& settings,
                             const RestoreContext& context);

}  // namespace tarvel
