// Any bytes as a table of translated texts, used for every message of the engine.

#include <cstdlib>
#include <filesystem>
#include <string>

#include "engine/tarvel.h"
#include "fuzz/round_trips.h"
#include "platform/linux/launch/linux_bundle.h"
#include "tests/support/temporary_directory.h"

namespace tarvel::fuzz {

/// One bundle for all inputs, in which only the table changes.
inline const TemporaryDirectory& bundleFolder() {
  static const TemporaryDirectory folder;
  static const bool isMade = std::filesystem::create_directories(folder.path("Contents/Resources/xx.lproj"));
  require(isMade, "no folder for the table");
  return folder;
}

}  // namespace tarvel::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  using namespace tarvel;
  const TemporaryDirectory& folder = fuzz::bundleFolder();
  // NOLINTNEXTLINE: bytes read as text
  folder.write("Contents/Resources/xx.lproj/Localizable.strings", {reinterpret_cast<const char*>(data), size});
  PlistSerialization serialization;
  LinuxBundle bundle(serialization, folder.path(), {"xx"});
  const std::string filename(100, 'n');
  constexpr int kCodes = 12;
  for (int code = -1; code < kCodes; ++code) {
    (void)Tarvel::stringFromTarvelError(bundle, code);
    const std::string text = Tarvel::stringFromTarvelErrorAndFilename(bundle, code, filename);
    // Each placeholder needs at least two bytes of the table, four in UTF-16.
    fuzz::require(text.size() <= (size + 200) * filename.size(), "a message is out of proportion");
  }
  fuzz::require(bundle.localizedStringForKeyValue("", "kept") == "kept" || size > 0, "a default text was changed");
  return 0;
}
