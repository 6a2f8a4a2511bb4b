#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "tools/agent/agent_context.h"

namespace tarvel {

// Written by report, read by status: the last code that was reported, an integer, and when, a date.
inline constexpr const char* kReportedErrorKey = "LastReportedError";
inline constexpr const char* kReportedErrorTimeKey = "LastReportedErrorTime";

/// The code of the pending error; none when there is none.
[[nodiscard]] std::optional<std::int32_t> pendingCode(const AgentContext& agent);
/// The message of a code of the agent's, in the user's language where there is a translation.
[[nodiscard]] std::string messageOfCode(const AgentContext& agent, std::int32_t code);

}  // namespace tarvel
