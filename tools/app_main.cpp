// Tarvel: what the agent launches when it has something to say. Stands in for an application with windows.

#include "platform/linux/dbus/linux_notifier.h"
#include "platform/linux/log/linux_system_log.h"
#include "tools/agent/agent_context.h"
#include "tools/commands/agent_commands.h"

int main() {
  tarvel::LinuxSystemLog log("Tarvel");
  tarvel::LinuxAgentContext linux(log);
  tarvel::LinuxNotifier notifier;
  return tarvel::runReportAsApplication(linux.context(), notifier, log);
}
