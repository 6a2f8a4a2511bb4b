#pragma once

namespace CLI {
class App;
}

namespace tarvel {

struct CommandLine;

// Adds the backup command, and what restore needs to put a dated copy back. `line` is filled when the arguments are
// read.
void addBackupCommand(CLI::App& app, CommandLine& line);
void addRestoreFrom(CLI::App& restore, CommandLine& line);

}  // namespace tarvel
