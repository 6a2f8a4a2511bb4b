// Tarvel: what the agent launches when it has something to say. Stands in for an application with windows.

#include "platform/linux/linux_notifier.h"
#include "platform/linux/linux_system_log.h"
#include "tools/agent_surroundings.h"

int main() {
  tarvel::LinuxSystemLog log("Tarvel");
  tarvel::LinuxAgentSurroundings linux(log);
  tarvel::LinuxNotifier notifier;
  return tarvel::runReportAsApplication(linux.surroundings(), notifier, log);
}
