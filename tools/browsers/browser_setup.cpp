#include "tools/browsers/browser_setup.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <system_error>

#include "platform/linux/base/user_folders.h"
#include "platform/linux/launch/bundle_location.h"
#include "platform/path_components.h"
#include "platform/text_components.h"
#include "tools/browsers/extension_identity.h"

namespace tarvel {

namespace {

/// Of "Tarvel.app/Contents/Library/TarvelHelper.app": the folder that the application's bundle is in has the host too.
constexpr int kLevelsBelowHost = 4;

const std::vector<KnownBrowser>& table() {
  static const std::vector<KnownBrowser> browsers = {
      {"chromium",
       "Chromium",
       BrowserFamily::kChromium,
       {"chromium", "chromium-browser"},
       "chromium",
       "/etc/chromium/native-messaging-hosts"},
      {"chrome",
       "Chrome",
       BrowserFamily::kChromium,
       {"google-chrome", "google-chrome-stable"},
       "google-chrome",
       "/etc/opt/chrome/native-messaging-hosts"},
      {"brave",
       "Brave",
       BrowserFamily::kChromium,
       {"brave-browser", "brave-browser-stable"},
       "BraveSoftware/Brave-Browser",
       "/etc/opt/chrome/native-messaging-hosts"},
      {"edge",
       "Edge",
       BrowserFamily::kChromium,
       {"microsoft-edge", "microsoft-edge-stable"},
       "microsoft-edge",
       "/etc/opt/edge/native-messaging-hosts"},
      {"vivaldi",
       "Vivaldi",
       BrowserFamily::kChromium,
       {"vivaldi", "vivaldi-stable"},
       "vivaldi",
       "/etc/opt/vivaldi/native-messaging-hosts"},
      {"firefox",
       "Firefox",
       BrowserFamily::kFirefox,
       {"firefox", "firefox-esr"},
       ".mozilla",
       "/usr/lib/mozilla/native-messaging-hosts"},
  };
  return browsers;
}

std::string folderOf(const KnownBrowser& browser, const BrowserSurroundings& around) {
  const bool isFirefox = browser.family == BrowserFamily::kFirefox;
  return (isFirefox ? around.home : around.settingsFolder) + "/" + browser.folder;
}

bool isInstalled(const KnownBrowser& browser, const BrowserSurroundings& around) {
  const std::vector<std::string> folders = componentsSeparatedBy(around.searchPath, ':');
  return std::ranges::any_of(browser.programs, [&](const char* program) {
    return std::ranges::any_of(folders, [program](const std::string& folder) {
      return !folder.empty() && ::access((folder + "/" + program).c_str(), X_OK) == 0;
    });
  });
}

std::string manifestName() { return std::string(kHostName) + ".json"; }

ManifestState stateOfManifest(const std::string& path, const BrowserSurroundings& around, FileManager& files) {
  if (!files.fileExistsAtPath(path)) return ManifestState::kMissing;
  const FileReading reading = files.contentsAtPath(path);
  const auto bytes = reading.data.bytes();
  const nlohmann::json json = nlohmann::json::parse(bytes.begin(), bytes.end(), nullptr, false);
  if (!json.is_object() || !json.contains("path") || !json["path"].is_string()) return ManifestState::kBroken;
  const std::string host = json["path"];
  if (::access(host.c_str(), X_OK) != 0) return ManifestState::kBroken;
  std::error_code error;
  const bool isOurs = !around.hostProgram.empty() && std::filesystem::equivalent(host, around.hostProgram, error);
  return isOurs ? ManifestState::kUsable : ManifestState::kOtherHost;
}

std::string textOfVariable(const char* name) {
  const char* const value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

}  // namespace

std::span<const KnownBrowser> knownBrowsers() { return table(); }

const KnownBrowser* browserNamed(std::string_view name) {
  const auto found =
      std::ranges::find_if(table(), [name](const KnownBrowser& browser) { return name == browser.name; });
  return found == table().end() ? nullptr : &*found;
}

BrowserSurroundings BrowserSurroundings::ofThisUser() {
  BrowserSurroundings around;
  around.home = userHomeFolder();
  around.settingsFolder = userSettingsFolder();
  around.searchPath = textOfVariable("PATH");
  std::string folder = helperBundlePathForCommand();
  for (int i = 0; i < kLevelsBelowHost && !folder.empty(); ++i) folder = deletingLastPathComponent(folder);
  const std::string host = folder + "/tarvel-browser-host";
  if (!folder.empty() && ::access(host.c_str(), X_OK) == 0) around.hostProgram = host;
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  const auto extension = program.parent_path().parent_path() / TARVEL_EXTENSION_FOLDER;
  if (std::filesystem::exists(extension / "manifest.json", error)) around.extensionFolder = extension.string();
  return around;
}

BrowserState stateOf(const KnownBrowser& browser, const BrowserSurroundings& around, FileManager& files) {
  BrowserState state;
  state.browser = &browser;
  const std::string folder = folderOf(browser, around);
  const bool isFirefox = browser.family == BrowserFamily::kFirefox;
  state.isFound = isInstalled(browser, around) || files.fileExistsAtPath(folder);
  state.manifestPath = folder + (isFirefox ? "/native-messaging-hosts/" : "/NativeMessagingHosts/") + manifestName();
  state.manifest = stateOfManifest(state.manifestPath, around, files);
  state.systemManifest = stateOfManifest(std::string(browser.systemManifests) + "/" + manifestName(), around, files);
  return state;
}

std::string manifestText(BrowserFamily family, const std::string& hostProgram) {
  nlohmann::ordered_json json = {{"name", kHostName},
                                 {"description", "Decides how Tarvel sorts bookmarks"},
                                 {"path", hostProgram},
                                 {"type", "stdio"}};
  if (family == BrowserFamily::kFirefox) {
    json["allowed_extensions"] = {kFirefoxExtension};
  } else {
    json["allowed_origins"] = {kChromiumOrigin};
  }
  return json.dump(2) + "\n";
}

FileStatus writeManifest(const BrowserState& state, const BrowserSurroundings& around, FileManager& files) {
  FileStatus made = files.createDirectoryAtPath(deletingLastPathComponent(state.manifestPath));
  if (!made.ok()) return made;
  const Data data = Data::copyOf(manifestText(state.browser->family, around.hostProgram));
  return files.writeDataToPath({{data.bytes()}, {std::make_shared<Data>(data)}}, state.manifestPath);
}

}  // namespace tarvel
