#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/agent/agent_context.h"

namespace tarvel {

// What report leaves for status: the last code that was told, an integer, and when that was, a date.
inline constexpr const char* kReportedErrorKey = "LastReportedError";
inline constexpr const char* kReportedErrorTimeKey = "LastReportedErrorTime";

/// The code that waits to be shown; none when there is none.
[[nodiscard]] std::optional<std::int32_t> pendingCode(const AgentContext& agent);
/// What a code of the agent's means, in whole sentences and in the user's language as far as it was translated.
[[nodiscard]] std::string messageOfCode(const AgentContext& agent, std::int32_t code);

}  // namespace tarvel
