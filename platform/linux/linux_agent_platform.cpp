#include "platform/linux/linux_agent_platform.h"

#include <cerrno>
#include <filesystem>
#include <system_error>
#include <utility>

namespace tarvel {

namespace {

std::string checkerBesideThisProgram() {
  std::error_code error;
  return (std::filesystem::read_symlink("/proc/self/exe", error).parent_path() / "tarvel-update-check").string();
}

}  // namespace

std::unique_ptr<LinuxAgentPlatform> LinuxAgentPlatform::create(const std::string& program,
                                                               const std::string& identifier) {
  std::unique_ptr<LinuxRunLoop> runLoop = LinuxRunLoop::create();
  if (!runLoop) {
    LinuxSystemLog(program).log("Could not create a run loop: " + std::generic_category().message(errno) +
                                ", terminating.");
    return nullptr;
  }
  return std::unique_ptr<LinuxAgentPlatform>(new LinuxAgentPlatform(std::move(runLoop), program, identifier));
}

LinuxAgentPlatform::LinuxAgentPlatform(std::unique_ptr<LinuxRunLoop> runLoop, const std::string& program,
                                       const std::string& identifier)
    : runLoop_(std::move(runLoop)),
      collator_(IcuCollator::forEnvironment()),
      systemLog_(program),
      bundle_(propertyLists_, bundlePathOfExecutable(), preferredLanguages()),
      bundles_(propertyLists_, preferredLanguages()),
      workspace_(propertyLists_, runLoop_.get()),
      application_(*runLoop_, systemLog_, identifier),
      eventStreams_(*runLoop_),
      preferences_(propertyLists_, systemLog_),
      updaters_({*runLoop_, preferences_, bundles_, checkerBesideThisProgram()}),
      platform_{{propertyLists_, fileManager_, *collator_, uuidSource_, systemLog_, bundle_, workspace_, clock_},
                application_,
                *runLoop_,
                eventStreams_,
                preferences_,
                runningApplications_,
                bundles_,
                updaters_} {}

}  // namespace tarvel
