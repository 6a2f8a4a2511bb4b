#pragma once

#include <string>
#include <vector>

#include "tools/terminal/terminal.h"

namespace tarvel {

/// How to answer, whatever the command.
struct OutputOptions {
  ColorChoice color = ColorChoice::kAuto;
  bool isJson = false;
  bool isQuiet = false;
  bool isVerbose = false;
  bool usesPager = true;
};

/// Something that went wrong, or that the user should know: what happened, why, and what to do next.
struct Message {
  /// One sentence each.
  std::vector<std::string> sentences;
  /// To paste. It stands alone on the last line; empty for none.
  std::string command;
};

/// The last sentence of a refusal.
inline constexpr const char* kNothingChanged = "Nothing was changed.";

}  // namespace tarvel
