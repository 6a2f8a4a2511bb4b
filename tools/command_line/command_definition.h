#pragma once

#include <CLI/CLI.hpp>
#include <map>
#include <string>

#include "tools/command_line/command_line.h"

namespace tarvel {

// What the command understands, for whoever reads arguments by it or completes them.

/// What may follow an option whose value is called WHEN.
inline const std::map<std::string, ColorChoice> kColorChoices = {
    {"auto", ColorChoice::kAuto}, {"always", ColorChoice::kAlways}, {"never", ColorChoice::kNever}};

/// The same for FORMAT.
inline const std::map<std::string, DumpFormat> kDumpFormats = {
    {"xml", DumpFormat::kXml}, {"binary", DumpFormat::kBinary}, {"json", DumpFormat::kJson}};

/// Puts every command and option into `app`, which is empty. What parsing finds goes into `line`; it outlives `app`.
void defineCommandLine(CLI::App& app, CommandLine& line);

}  // namespace tarvel
