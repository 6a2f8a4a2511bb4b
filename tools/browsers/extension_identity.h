#pragma once

#include <string_view>

namespace tarvel {

// How browsers, the host and the command know the extension. The id in Chromium follows from "key" in
// browser/extension/manifest.json.

inline constexpr std::string_view kChromiumExtension = "hokgngcmbmadaepdokbpnpnfdkhajlil";
/// As the host is told who calls.
inline constexpr std::string_view kChromiumOrigin = "chrome-extension://hokgngcmbmadaepdokbpnpnfdkhajlil/";
inline constexpr std::string_view kFirefoxExtension = "tarvel@tarvel.org";
/// What the extension asks the browser to start; the name of the host's manifests too.
inline constexpr std::string_view kHostName = "org.tarvel.browser_host";

}  // namespace tarvel
