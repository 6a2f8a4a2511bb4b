// tarvel-browser-host: started by a browser for Tarvel's extension; exits at the end of its input.

#include <unistd.h>

#include <csignal>
#include <exception>
#include <filesystem>
#include <iostream>
#include <string>

#include "browser/host/framing.h"
#include "browser/host/session.h"
#include "platform/collation/icu_collator.h"
#include "platform/linux/base/linux_clock.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "platform/linux/base/memory_limit.h"
#include "platform/linux/base/safe_text.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/launch/null_workspace.h"
#include "platform/linux/preferences/linux_preferences_store.h"
#include "platform/plist/serialization.h"
#include "settings/places.h"
#include "settings/preference_keys.h"
#include "tools/browsers/extension_identity.h"

namespace {

constexpr int kExitUsage = 64;

/// Browsers copy this to their own error output.
class ErrorOutputLog final : public tarvel::SystemLog {
 public:
  void log(std::string_view message) override {
    std::cerr << "tarvel-browser-host: " << tarvel::printable(message) << "\n";
  }
};

/// The browser names the calling extension: Chromium by its origin in the first argument; Firefox by its id in the
/// second, behind the path of the manifest.
bool isOwnExtension(int argc, char** argv) {
  if (argc >= 2 && std::string_view(argv[1]) == tarvel::kChromiumOrigin) return true;
  return argc >= 3 && std::string_view(argv[2]) == tarvel::kFirefoxExtension;
}

/// The texts are installed beside this program.
tarvel::LinuxBundle bundleOfTexts(tarvel::PropertyListSerialization& propertyLists) {
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto bundle = program.parent_path() / "Tarvel.app/Contents/Library/TarvelHelper.app";
  return {propertyLists, bundle.string(), tarvel::preferredLanguages()};
}

int serve() {
  tarvel::PlistSerialization propertyLists;
  tarvel::LinuxFileManager files;
  const auto collator = tarvel::IcuCollator::forEnvironment();
  tarvel::LinuxUuidSource uuidSource;
  ErrorOutputLog log;
  tarvel::LinuxBundle bundle = bundleOfTexts(propertyLists);
  tarvel::NullWorkspace workspace;
  tarvel::LinuxClock clock;
  const tarvel::Platform platform{propertyLists, files, *collator, uuidSource, log, bundle, workspace, clock};
  tarvel::LinuxPreferencesStore preferences(propertyLists, log);
  const tarvel::DirectoryLookup support = files.applicationSupportDirectory();
  if (!support.path) {
    log.log("No folder for undo records: " + support.status.reason);
    return 1;
  }
  const std::string records = *support.path + "/" + tarvel::kSupportFolderName + "/Browsers";
  tarvel::BrowserSession session(platform, preferences, records,
                                 [](std::string_view message) { return tarvel::writeFrame(STDOUT_FILENO, message); });
  for (;;) {
    tarvel::Frame frame = tarvel::readFrame(STDIN_FILENO);
    if (frame.status == tarvel::FrameStatus::kEnd) return 0;
    if (frame.status != tarvel::FrameStatus::kMessage || !session.answer(frame.bytes)) return 1;
  }
}

}  // namespace

int main(int argc, char** argv) {
  // A closed connection is noticed when a write fails.
  (void)std::signal(SIGPIPE, SIG_IGN);
  (void)std::signal(SIGXFSZ, SIG_IGN);
  try {
    if (!isOwnExtension(argc, argv)) {
      std::cerr
          << "tarvel-browser-host: Only browsers start this program, for Tarvel's extension. To set it up: tarvel "
             "browser enable\n";
      return kExitUsage;
    }
    tarvel::limitMemoryUse();
    return serve();
  } catch (const std::exception& error) {
    // Out of memory: nothing else throws.
    std::cerr << "tarvel-browser-host: " << error.what() << "\n";
    return 70;
  }
}
