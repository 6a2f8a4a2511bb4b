#pragma once

#include <string>

namespace tarvel {

/// Somebody in front of the command who may be asked.
class ConfirmationPrompt {
 public:
  virtual ~ConfirmationPrompt() = default;

  [[nodiscard]] virtual bool isInteractive() = 0;
  /// Asks, and waits for the answer. No answer is a no.
  [[nodiscard]] virtual bool confirm(const std::string& question) = 0;
};

/// Whoever sits at the terminal: asked on the error output, answering on standard input, both of which have to be one.
class TerminalPrompt final : public ConfirmationPrompt {
 public:
  [[nodiscard]] bool isInteractive() override;
  [[nodiscard]] bool confirm(const std::string& question) override;
};

}  // namespace tarvel
