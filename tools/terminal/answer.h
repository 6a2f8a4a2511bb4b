#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "tools/terminal/message.h"
#include "tools/terminal/pager.h"

namespace tarvel {

/// The answer of one command: text for people, or one JSON object for programs. Everything a command says goes through
/// here, so that the two forms cannot differ in what they cover.
///
/// As text, the answer goes to standard output and messages to the error output, where the first line begins with
/// "tarvel: ". On a terminal, messages are wrapped at 80 columns or the terminal's width. As JSON, there is one object
/// on standard output, and nothing else: "schema", "command", "exitStatus", "message" (every sentence that was said),
/// then the fields that the command set.
class Answer {
 public:
  using Json = nlohmann::ordered_json;

  /// The version of the envelope and of the fields in it.
  static constexpr int kSchema = 1;

  /// `command` is the words that name the command, such as "backup list"; empty when there is none.
  Answer(std::string command, const OutputOptions& options);

  [[nodiscard]] const OutputOptions& options() const { return options_; }
  [[nodiscard]] bool isJson() const { return options_.isJson; }
  /// Colours for standard output, decided before a pager may have taken its place.
  [[nodiscard]] const Painter& painter() const { return painter_; }

  /// To wrap at; 0 when standard output is not a terminal.
  [[nodiscard]] std::size_t columns() const { return columns_; }

  /// A sentence or two of the answer, on a line of their own.
  void say(const std::string& text);
  /// Advice, with a command to paste on a line of its own. Left out with --quiet, and of JSON.
  void hint(const Message& advice);
  void hint(const std::string& text, const std::string& command = {}) { hint({{text}, command}); }
  /// Something that went wrong.
  void complain(const Message& message);
  /// Text with its own line breaks, which JSON has in fields instead.
  void print(std::string_view text);

  /// Sends what follows through a pager, where the output is a terminal and the user wants one.
  void page();
  /// Waits until the pager is closed; what follows goes to the terminal again.
  void endPage() { pager_.reset(); }

  /// A field of the JSON object. Order of first use is the order of the fields.
  Json& operator[](const char* field) { return fields_[field]; }

  /// Ends the answer. Returns `status`.
  [[nodiscard]] int end(int status);
  /// end(), in JSON with one more field, whose value `write` writes to a sink piece by piece. The sink returns false
  /// once the reader of standard output is gone.
  [[nodiscard]] int endWith(int status, const char* field,
                            const std::function<void(const std::function<bool(std::string_view)>&)>& write);
  /// complain(), then end().
  [[nodiscard]] int fail(int status, const Message& message);

 private:
  void note(const std::string& text);
  [[nodiscard]] Json envelope(int status);

  std::string command_;
  OutputOptions options_;
  Painter painter_;
  std::size_t columns_;
  std::string message_;
  Json fields_ = Json::object();
  std::optional<Pager> pager_;
};

/// A JSON document as every command prints it: indented, with a line break at the end. JSON has no lone surrogates, so
/// those are replaced; characters that could steer a terminal are spelled out, see escapedJson().
[[nodiscard]] std::string jsonText(const nlohmann::ordered_json& json);

}  // namespace tarvel
