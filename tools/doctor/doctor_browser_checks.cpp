// tarvel doctor: the browsers that the extension sorts in.

#include "settings/preference_keys.h"
#include "tools/browsers/browser_setup.h"
#include "tools/doctor/doctor.h"

namespace tarvel {

Findings checkBrowsers(const DoctorContext& context) {
  constexpr const char* kCheck = "browsers";
  const BrowserSurroundings around = BrowserSurroundings::ofThisUser();
  Findings findings;
  std::string setUp;
  for (const KnownBrowser& browser : knownBrowsers()) {
    const BrowserState state = stateOf(browser, around, context.platform.fileManager);
    const std::string label = browser.label;
    const bool isOwn = state.manifest != ManifestState::kMissing;
    if ((isOwn ? state.manifest : state.systemManifest) == ManifestState::kBroken) {
      const std::string text = label + " is set up for a host that is missing.";
      findings.push_back(
          isOwn ? problem(kCheck, text, "To set it up again:", std::string("tarvel browser enable ") + browser.name)
                : problem(kCheck, text, "Install the package webext-tarvel again."));
    } else if (state.isSetUp() && state.isFound) {
      setUp += (setUp.empty() ? "" : ", ") + label;
    }
  }
  if (!setUp.empty()) findings.push_back(fine(kCheck, "Set up for the extension: " + setUp + "."));
  if (findings.empty() && isSettingOn(context.agent, kAutoSortBrowsersKey)) {
    findings.push_back(note(kCheck, "Automatic sorting in browsers is on, but no browser is set up.",
                            "To set them up:", "tarvel browser enable"));
  }
  return findings;
}

}  // namespace tarvel
