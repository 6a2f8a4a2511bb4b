#include "tools/terminal/confirmation_prompt.h"

#include <unistd.h>

#include <iostream>

namespace tarvel {

bool TerminalPrompt::isInteractive() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

bool TerminalPrompt::confirm(const std::string& question) {
  // The user has to see what the question is about.
  std::cout.flush();
  std::cerr << question << " [y/N] " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) std::cerr << "\n";
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

}  // namespace tarvel
