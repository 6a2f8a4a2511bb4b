#pragma once

#include <string_view>

// Internal to platform/linux.
namespace tarvel {

/// Asks the session bus for the application that owns this name, starting it if need be, and the application to show
/// itself. True also when it was started and keeps its answer to itself: it must not be launched a second time in
/// another way. False when there is no bus, the bus knows no such application, or could not execute it.
[[nodiscard]] bool activateOnBus(std::string_view identifier);

}  // namespace tarvel
