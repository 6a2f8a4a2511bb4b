#pragma once

#include <optional>
#include <string>
#include <string_view>

// What makes a session start the agent: the texts of a unit and of a desktop file, and where they belong. Internal to
// platform/linux.
namespace tarvel {

inline constexpr const char* kAgentProgram = "TarvelHelper";
inline constexpr const char* kAgentUnit = "TarvelHelper.service";

/// The unit as packaging/systemd has it, with the agent's command left open. Made by the build.
extern const std::string_view kAgentUnitTemplate;

/// Where the user's own units are; empty without a home.
[[nodiscard]] std::string userUnitsFolder();
/// The agent's unit among them.
[[nodiscard]] std::string ownUnitPath();
/// What the manager makes to have the unit started at login.
[[nodiscard]] std::string ownUnitLinkPath();
/// The desktop file that starts the agent at login.
[[nodiscard]] std::string autostartPath();

/// The same unit as is installed, for the agent at `program`. None for a path that no unit can hold: quotes,
/// backslashes and control characters are refused by service managers, and so is what is not UTF-8.
[[nodiscard]] std::optional<std::string> unitFor(std::string_view program);

/// A desktop file that executes `program` and shows itself in no menu. None for a path with control characters.
[[nodiscard]] std::optional<std::string> autostartEntryFor(std::string_view program);

}  // namespace tarvel
