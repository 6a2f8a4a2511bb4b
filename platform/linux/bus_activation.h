#pragma once

#include <string_view>

// Internal to platform/linux.
namespace tarvel {

/// Asks the session bus for the application that owns this name, starting it if need be, and the application to show
/// itself. False when there is no bus or the bus knows no such application.
[[nodiscard]] bool activateOnBus(std::string_view identifier);

}  // namespace tarvel
