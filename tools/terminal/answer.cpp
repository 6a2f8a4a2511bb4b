#include "tools/terminal/answer.h"

#include <unistd.h>

#include <algorithm>
#include <iostream>
#include <utility>

#include "tools/terminal/text.h"

namespace tarvel {

namespace {

constexpr std::size_t kWidestMessage = 80;

std::size_t messageColumns(int descriptor) { return std::min(kWidestMessage, terminalColumns(descriptor)); }

}  // namespace

Answer::Answer(std::string command, const OutputOptions& options)
    : command_(std::move(command)),
      options_(options),
      painter_(!options.isJson && usesColor(options.color, STDOUT_FILENO)),
      columns_(messageColumns(STDOUT_FILENO)) {}

void Answer::note(const std::string& text) {
  if (!message_.empty() && !text.empty()) message_ += " ";
  message_ += text;
}

void Answer::say(const std::string& text) {
  if (isJson()) {
    note(text);
  } else {
    std::cout << wrapped(text, columns_) << "\n";
  }
}

void Answer::hint(const Message& advice) {
  if (isJson() || options_.isQuiet) return;
  for (const std::string& sentence : advice.sentences) say(sentence);
  if (!advice.command.empty()) std::cout << "  " << advice.command << "\n";
}

void Answer::complain(const Message& message) {
  if (isJson()) {
    for (const std::string& sentence : message.sentences) note(sentence);
    return;
  }
  std::cout.flush();
  const Painter painter(usesColor(options_.color, STDERR_FILENO));
  const std::size_t columns = messageColumns(STDERR_FILENO);
  bool isFirst = true;
  for (const std::string& sentence : message.sentences) {
    if (sentence.empty()) continue;
    const std::string line = wrapped((isFirst ? "tarvel: " : "") + sentence, columns);
    std::cerr << (isFirst ? painter.red(line) : line) << "\n";
    isFirst = false;
  }
  if (!message.command.empty()) std::cerr << "  " << message.command << "\n";
}

void Answer::print(std::string_view text) {
  if (!isJson()) std::cout << text;
}

void Answer::page() {
  if (!isJson() && columns_ != 0 && options_.usesPager) pager_.emplace();
}

Answer::Json Answer::envelope(int status) {
  Json envelope = {{"schema", kSchema},
                   {"command", command_.empty() ? Json() : Json(command_)},
                   {"exitStatus", status},
                   {"message", message_}};
  for (auto& [name, value] : fields_.items()) envelope[name] = std::move(value);
  return envelope;
}

int Answer::end(int status) {
  if (isJson()) std::cout << jsonText(envelope(status));
  pager_.reset();
  return status;
}

int Answer::endWith(int status, const char* field,
                    const std::function<void(const std::function<bool(std::string_view)>&)>& write) {
  if (!isJson()) return end(status);
  const std::string head = jsonText(envelope(status));
  std::cout << head.substr(0, head.rfind("\n}")) << ",\n  \"" << field << "\": ";
  write([](std::string_view piece) {
    std::cout << piece;
    return static_cast<bool>(std::cout);
  });
  std::cout << "}\n";
  return status;
}

int Answer::fail(int status, const Message& message) {
  complain(message);
  return end(status);
}

std::string jsonText(const nlohmann::ordered_json& json) {
  return escapedJson(json.dump(2, ' ', false, nlohmann::ordered_json::error_handler_t::replace)) + "\n";
}

}  // namespace tarvel
