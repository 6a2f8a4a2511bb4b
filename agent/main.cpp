// TarvelHelper: the agent. Creates the platform and runs the application object; its delegate does everything else.
// Takes no arguments and reads no environment variables.

#include "agent/app_delegate.h"
#include "platform/linux/base/memory_limit.h"
#include "platform/linux/linux_agent_platform.h"
#include "settings/preference_keys.h"

int main() {
  tarvel::limitMemoryUse();
  const auto platform = tarvel::LinuxAgentPlatform::create("TarvelHelper", tarvel::kMainApplicationIdentifier);
  if (!platform) return 1;
  tarvel::AppDelegate delegate(platform->platform());
  return platform->platform().application.run(delegate);
}
