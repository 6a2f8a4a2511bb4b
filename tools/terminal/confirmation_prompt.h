#pragma once

#include <string>

namespace tarvel {

/// Asks the user to confirm.
class ConfirmationPrompt {
 public:
  virtual ~ConfirmationPrompt() = default;

  [[nodiscard]] virtual bool isInteractive() = 0;
  /// Asks, and waits for the answer. No answer is a no.
  [[nodiscard]] virtual bool confirm(const std::string& question) = 0;
};

/// Asks on the error output and reads from standard input; interactive when both are terminals.
class TerminalPrompt final : public ConfirmationPrompt {
 public:
  [[nodiscard]] bool isInteractive() override;
  [[nodiscard]] bool confirm(const std::string& question) override;
};

}  // namespace tarvel
