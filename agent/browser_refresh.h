#pragma once

#include <memory>
#include <span>

#include "platform/agent_platform.h"

namespace tarvel {

// Old browsers show the new order of their favorites bar only after they were activated again. These functions detect
// such a browser and activate it. Not thread-safe.

/// Call after a successful sort. Does nothing unless the browser is running, old, and showing its bar. Checked in this
/// order, so that files are read only if needed.
void refreshSafariAfterSort(const AgentPlatform& platform);

/// Whether the installed browser is version 5.1 or older, or its version cannot be found. Cached for the life of the
/// process: a browser update takes effect at the next launch of the agent.
[[nodiscard]] bool safariVersionNeedsRefresh(Bundles& bundles);

/// Whether the browser's settings say that its bar is shown. Deliberately true for settings that are missing or
/// unreadable (logged), and false for settings without that key.
[[nodiscard]] bool safariShowsFavoritesBar(const Platform& platform);

/// Activates each application in order and, after 0.1 seconds, this process. Blocks.
void activateApplicationsThenSelf(const AgentPlatform& platform,
                                  std::span<const std::shared_ptr<RunningApplication>> applications);

/// For tests: clears the cached version, as in a new process.
void resetSafariVersionAnswer();

}  // namespace tarvel
