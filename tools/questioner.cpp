#include "tools/questioner.h"

#include <unistd.h>

#include <iostream>

namespace tarvel {

bool TerminalQuestioner::isThere() { return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1; }

bool TerminalQuestioner::agreesTo(const std::string& question) {
  // What the question is about has to stand there first.
  std::cout.flush();
  std::cerr << question << " [y/N] " << std::flush;
  std::string answer;
  if (!std::getline(std::cin, answer)) std::cerr << "\n";
  return answer == "y" || answer == "Y" || answer == "yes" || answer == "Yes" || answer == "YES";
}

}  // namespace tarvel
