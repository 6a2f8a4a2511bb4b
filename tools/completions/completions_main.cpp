// tarvel_completions SHELL FILE: writes what the shell (bash, fish or zsh) needs to complete the command's words.

#include <fstream>
#include <iostream>
#include <string>

#include "tools/command_line/command_definition.h"
#include "tools/completions/command_tree.h"

int main(int argc, char** argv) {
  if (argc != 3) {
    std::cerr << "usage: tarvel_completions bash|fish|zsh FILE\n";
    return 64;
  }
  CLI::App app;
  tarvel::CommandLine line;
  tarvel::defineCommandLine(app, line);
  const auto commands = tarvel::completedCommands(app);
  const std::string shell = argv[1];
  std::string text;
  if (shell == "bash") text = tarvel::bashCompletion(commands);
  if (shell == "fish") text = tarvel::fishCompletion(commands);
  if (shell == "zsh") text = tarvel::zshCompletion(commands);
  std::ofstream file(argv[2], std::ios::binary);
  file << text;
  file.close();
  if (!text.empty() && file) return 0;
  std::cerr << "tarvel_completions: nothing was written for “" << shell << "”.\n";
  return 1;
}
