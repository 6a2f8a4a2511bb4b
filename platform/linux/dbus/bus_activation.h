#pragma once

#include <string_view>

// Internal to platform/linux.
namespace tarvel {

/// Activates the application that owns this name on the session bus, starting it if necessary. True also if it was
/// started and does not reply: launching it again would start it twice. False without a bus, or if the bus does not
/// know the application or cannot execute it.
[[nodiscard]] bool activateOnBus(std::string_view identifier);

}  // namespace tarvel
