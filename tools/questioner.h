#pragma once

#include <string>

namespace tarvel {

/// Somebody in front of the command who may be asked.
class Questioner {
 public:
  virtual ~Questioner() = default;

  [[nodiscard]] virtual bool isThere() = 0;
  /// Asks, and waits for the answer. No answer is a no.
  [[nodiscard]] virtual bool agreesTo(const std::string& question) = 0;
};

/// Whoever sits at the terminal: asked on the error output, answering on standard input, both of which have to be one.
class TerminalQuestioner final : public Questioner {
 public:
  [[nodiscard]] bool isThere() override;
  [[nodiscard]] bool agreesTo(const std::string& question) override;
};

}  // namespace tarvel
