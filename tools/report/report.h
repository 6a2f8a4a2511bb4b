#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tools/command_line/command_settings.h"
#include "tools/compare/change_report.h"
#include "tools/terminal/terminal.h"

namespace tarvel {

/// Everything there is to say about one sort or preview.
struct SortReport {
  std::int32_t code = 0;
  std::string message;
  std::string file;
  /// Where the backup is to be; empty when none is wanted.
  std::string backupFile;
  bool isPreview = false;
  /// Those that decided something.
  std::vector<NamedSetting> settings;
  Changes changes;
};

/// For people. Lines, each with its line break.
[[nodiscard]] std::string reportAsText(const SortReport& report, const Painter& painter);

/// What a sort or preview that succeeded comes to: a sentence with the counts, then what is to be known besides.
[[nodiscard]] std::vector<std::string> summaryOf(const SortReport& report);

/// For programs: one JSON object. Field names are part of the interface, see the manual page.
[[nodiscard]] std::string reportAsJson(const SortReport& report);

}  // namespace tarvel
