#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "platform/file_manager.h"

namespace tarvel {

enum class BrowserFamily : std::uint8_t { kChromium, kFirefox };

/// A browser that the extension runs in.
struct KnownBrowser {
  const char* name;  ///< As the command takes it.
  const char* label;
  BrowserFamily family;
  std::vector<const char*> programs;  ///< Any of these in the search path says that it is installed.
  /// Its folder in the user's settings folder, for Firefox in the home folder.
  const char* folder;
  const char* systemManifests;  ///< Where manifests for all users are.
};

[[nodiscard]] std::span<const KnownBrowser> knownBrowsers();
/// Null for a name that is none.
[[nodiscard]] const KnownBrowser* browserNamed(std::string_view name);

/// What the command looks at besides files.
struct BrowserSurroundings {
  std::string home;
  std::string settingsFolder;
  std::string searchPath;  ///< As in PATH.
  /// The host that belongs to this command; empty where none is installed.
  std::string hostProgram;
  /// The extension that belongs to it; empty where none is installed.
  std::string extensionFolder;

  [[nodiscard]] static BrowserSurroundings ofThisUser();
};

/// What a manifest, which tells a browser where the host is, comes to.
enum class ManifestState : std::uint8_t {
  kMissing,
  kUsable,     ///< Names a host that is there.
  kBroken,     ///< Names one that is not there, or cannot be read.
  kOtherHost,  ///< Names a host that is there and belongs to another installation.
};

/// One browser as it is for this user.
struct BrowserState {
  const KnownBrowser* browser = nullptr;
  bool isFound = false;  ///< Its program, or a folder of its settings.
  std::string manifestPath;
  ManifestState manifest = ManifestState::kMissing;        ///< The user's own.
  ManifestState systemManifest = ManifestState::kMissing;  ///< That of the package.

  /// Whether the browser finds a host. The user's own manifest hides that of the package.
  [[nodiscard]] bool isSetUp() const {
    const ManifestState counts = manifest == ManifestState::kMissing ? systemManifest : manifest;
    return counts == ManifestState::kUsable || counts == ManifestState::kOtherHost;
  }
};

[[nodiscard]] BrowserState stateOf(const KnownBrowser& browser, const BrowserSurroundings& around, FileManager& files);

/// Writes the user's manifest of a browser, with the folders above it.
[[nodiscard]] FileStatus writeManifest(const BrowserState& state, const BrowserSurroundings& around,
                                       FileManager& files);

/// The manifest's text for this host.
[[nodiscard]] std::string manifestText(BrowserFamily family, const std::string& hostProgram);

}  // namespace tarvel
