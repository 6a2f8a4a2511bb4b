#include "platform/system_platform.h"

#include <dlfcn.h>

#include <filesystem>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/collation/icu_collator.h"
#include "platform/linux/base/linux_clock.h"
#include "platform/linux/base/linux_uuid_source.h"
#include "platform/linux/base/user_languages.h"
#include "platform/linux/files/linux_file_manager.h"
#include "platform/linux/launch/linux_bundle.h"
#include "platform/linux/launch/null_workspace.h"
#include "platform/plist/serialization.h"

namespace tarvel {

namespace {

class SilentLog final : public SystemLog {
 public:
  void log(std::string_view /*message*/) override {}
};

/// An address within this library.
const char kInThisLibrary = 0;

/// The bundle with the translations, installed beside this library. Empty if there is none.
std::string bundlePathBesideLibrary() {
  Dl_info library{};
  if (::dladdr(&kInThisLibrary, &library) == 0 || library.dli_fname == nullptr) return {};
  std::error_code error;
  const std::filesystem::path file = std::filesystem::canonical(library.dli_fname, error);
  if (error) return {};
  const auto bundle = file.parent_path() / "tarvel/Tarvel.app/Contents/Library/TarvelHelper.app";
  return std::filesystem::is_directory(bundle, error) ? bundle.string() : std::string();
}

/// Looks for nothing if the user's language is English.
LinuxBundle bundleBesideLibrary(PropertyListSerialization& propertyLists) {
  std::vector<std::string> languages = preferredLanguages();
  std::string path = languages.empty() ? std::string() : bundlePathBesideLibrary();
  return {propertyLists, std::move(path), std::move(languages)};
}

}  // namespace

struct SystemPlatform::Implementation {
  explicit Implementation(SystemLog* givenLog)
      : collator(IcuCollator::forEnvironment()),
        bundle(bundleBesideLibrary(propertyLists)),
        platform{propertyLists, fileManager, *collator, uuidSource, givenLog != nullptr ? *givenLog : silentLog,
                 bundle,        workspace,   clock} {}

  SilentLog silentLog;
  PlistSerialization propertyLists;
  LinuxFileManager fileManager;
  std::unique_ptr<IcuCollator> collator;
  LinuxUuidSource uuidSource;
  LinuxBundle bundle;
  NullWorkspace workspace;
  LinuxClock clock;
  Platform platform;
};

SystemPlatform::SystemPlatform() : implementation_(std::make_unique<Implementation>(nullptr)) {}
SystemPlatform::SystemPlatform(SystemLog& systemLog) : implementation_(std::make_unique<Implementation>(&systemLog)) {}
SystemPlatform::~SystemPlatform() = default;

const Platform& SystemPlatform::platform() const { return implementation_->platform; }

}  // namespace tarvel
