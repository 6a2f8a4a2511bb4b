#include "platform/linux/service/autostart_files.h"

#include <algorithm>

#include "platform/linux/base/user_folders.h"
#include "platform/plist/text_encoding.h"

namespace tarvel {

namespace {

constexpr std::string_view kPlaceholder = "@TARVEL_AGENT_COMMAND@";

bool hasControls(std::string_view text) {
  return std::ranges::any_of(text, [](char c) { return (static_cast<unsigned char>(c) < 0x20) || c == 0x7F; });
}

std::string below(const std::string& folder, std::string_view name) {
  return folder.empty() ? std::string() : folder + "/" + std::string(name);
}

/// Quotes a word by the rules of Exec lines and then of values.
std::string quotedForExec(std::string_view word) {
  std::string quoted = "\"";
  for (const char c : word) {
    if (c == '\\') {
      quoted += R"(\\\\)";
    } else if (c == '"' || c == '`' || c == '$') {
      quoted += R"(\\)";
      quoted += c;
    } else if (c == '%') {
      quoted += "%%";
    } else {
      quoted += c;
    }
  }
  return quoted + "\"";
}

}  // namespace

std::string userUnitsFolder() { return below(userSettingsFolder(), "systemd/user"); }

std::string ownUnitPath() { return below(userUnitsFolder(), kAgentUnit); }

std::string ownUnitLinkPath() { return below(userUnitsFolder(), std::string("default.target.wants/") + kAgentUnit); }

std::string autostartPath() { return below(userSettingsFolder(), "autostart/org.tarvel.TarvelHelper.desktop"); }

std::optional<std::string> unitFor(std::string_view program) {
  const bool isRefused = program.find_first_of("\"'\\") != std::string_view::npos || hasControls(program);
  if (isRefused || !isWellFormedUtf8(program)) return std::nullopt;
  // A percent sign is doubled; after the colon prefix a dollar sign is literal.
  std::string command = ":\"";
  for (const char c : program) command += c == '%' ? std::string("%%") : std::string(1, c);
  command += "\"";
  std::string unit(kAgentUnitTemplate);
  return unit.replace(unit.find(kPlaceholder), kPlaceholder.size(), command);
}

std::optional<std::string> autostartEntryFor(std::string_view program) {
  if (hasControls(program)) return std::nullopt;
  return "[Desktop Entry]\nType=Application\nName=TarvelHelper\nComment=Keeps Safari bookmarks sorted\nExec=" +
         quotedForExec(program) + "\nNoDisplay=true\n";
}

}  // namespace tarvel
