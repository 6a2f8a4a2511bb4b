#pragma once

#include <memory>
#include <span>

#include "platform/agent_platform.h"

namespace tarvel {

// An old browser shows its favorites bar in the new order only once it has come to the front again. These find out
// whether one is running that needs it, and bring it there. One thread.

/// To be called after a successful sort. Does nothing, silently, unless the browser is running, old and showing its
/// bar; asked in this order, so that files are read only for a reason.
void refreshSafariAfterSort(const AgentPlatform& platform);

/// Whether the browser that is installed is of version 5.1 or older, or of none that can be found. Looked up once in
/// the life of the process: an update of the browser counts from the next launch of the agent.
[[nodiscard]] bool safariVersionNeedsRefresh(Bundles& bundles);

/// Whether the browser's own settings say that its bar is shown. Settings that are missing or cannot be read (logged)
/// say so, settings that do not mention it do not: deliberately unlike.
[[nodiscard]] bool safariShowsFavoritesBar(const Platform& platform);

/// Brings each application to the front, in order, and after a tenth of a second this process. Blocks.
void activateApplicationsThenSelf(const AgentPlatform& platform,
                                  std::span<const std::shared_ptr<RunningApplication>> applications);

/// For tests: the version is looked up again, as in a new process.
void resetSafariVersionAnswer();

}  // namespace tarvel
