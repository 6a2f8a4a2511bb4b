// TarvelHelper: the agent. Builds the platform and hands control to the application object; everything else is its
// delegate's. No arguments, no environment.

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
