// agent_sort FILE: the agent's delegate sorts FILE once, with real files and everything else in memory, in virtual
// time. It is launched, gets an event, sorts after the latency and retries. For tracing: the real agent would wait for
// seconds.

#include <fcntl.h>
#include <sys/stat.h>

#include <chrono>

#include "platform/linux/files/linux_file_manager.h"
#include "platform/path_components.h"
#include "tests/support/memory_agent.h"

namespace {

void sortOnce(const char* file) {
  tarvel::LinuxFileManager files;
  tarvel::MemoryAgent agent{files};
  agent.preferences.setString(tarvel::kBookmarksFilenameKey, file, tarvel::kMainApplicationIdentifier);
  agent.application.launch(agent.delegate);
  (void)::utimensat(AT_FDCWD, file, nullptr, 0);
  agent.eventStreams.post(tarvel::deletingLastPathComponent(file));
  agent.loop.advanceBy(std::chrono::minutes(10));
}

}  // namespace

int main(int count, char** arguments) {
  if (count != 2) return 64;
  sortOnce(arguments[1]);
  return 0;
}
