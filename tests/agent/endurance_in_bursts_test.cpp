#include <gtest/gtest.h>
#include <malloc.h>

#include <array>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <string>

#include "settings/preference_keys.h"
#include "tests/agent/agent_world.h"
#include "tests/support/sanitized.h"

// Part of the sanitizer interface, whose header is not installed with every compiler. Defined in sanitized programs.
extern "C" std::size_t __sanitizer_get_current_allocated_bytes();

namespace tarvel {
namespace {

using namespace std::chrono_literals;
using std::chrono::nanoseconds;

/// Allowed growth of the heap in bytes: a tenth of a byte for each burst of the long form.
constexpr std::size_t kHeapAllowance = 2048;
/// Bursts before the first measurement, by which every buffer has its size.
constexpr std::size_t kWarmUp = 150;

/// Bytes currently allocated by the process.
std::size_t heapInUse() {
  if constexpr (kIsSanitized) return __sanitizer_get_current_allocated_bytes();
  // Freed blocks in the allocator's caches count as in use. Allocating as many blocks of every size as the caches hold
  // gives a sum that does not depend on the state of the caches.
  constexpr std::size_t kKeptOfASize = 7;
  constexpr std::size_t kSizes = 64;
  std::array<void*, kKeptOfASize * kSizes> held{};
  for (std::size_t i = 0; i < held.size(); ++i) held[i] = std::malloc(24 + 16 * (i / kKeptOfASize));
  const struct mallinfo2 info = ::mallinfo2();
  for (void* piece : held) std::free(piece);
  return info.uordblks + info.hblkhd;
}

std::uint32_t numberFromEnvironment(const char* name, std::uint32_t otherwise) {
  const char* text = std::getenv(name);
  return text == nullptr ? otherwise : static_cast<std::uint32_t>(std::strtoul(text, nullptr, 10));
}

bool isLongForm() {
  const char* form = std::getenv("TARVEL_PROOF");
  return form != nullptr && std::string_view(form) == "long";
}

struct EnduranceInBursts : testing::Test {
  const std::uint32_t seed = numberFromEnvironment("TARVEL_PROOF_SEED", 20240229);
  const std::size_t bursts = isLongForm() ? 20'000 : casesOf(1500);
  AgentWorld world{seed};

  [[nodiscard]] nanoseconds latency() const { return std::chrono::seconds(world.latency()); }

  std::string someTitle() {
    constexpr std::array<const char*, 12> kLetters = {"a", "b", "C", "d", "E", "f", "ä", "é", "Z", "z", "ß", "-"};
    std::string title = kLetters[world.pick(kLetters.size() - 1)];
    for (std::size_t more = world.pick(3); more > 0; --more) title += kLetters[world.pick(kLetters.size())];
    return title;
  }

  /// Never empty, since cleaning would remove the folder.
  std::string someEntries(int depth) {
    std::string entries;
    for (std::size_t more = 1 + world.pick(6); more > 0; --more) {
      entries += " " + someTitle();
      if (depth > 0 && world.oneIn(4)) entries += "[" + someEntries(depth - 1) + " ]";
    }
    return entries;
  }

  std::string someBookmarks() {
    std::string fixed = "Root[ ^History BookmarksBar[" + someEntries(1) + " ] BookmarksMenu[" + someEntries(2) + " ]";
    return world.bytesOf(fixed + (world.oneIn(2) ? someEntries(2) : "") + " ]");
  }

  void saveSomething() {
    if (world.oneIn(60)) {
      world.save("bplist00 and nothing more", Content::kNoPropertyList);
    } else if (world.oneIn(80)) {
      world.save(world.bytesOf("^NoBookmarks"), Content::kNoBookmarks);
    } else {
      world.save(someBookmarks(), Content::kBookmarks);
    }
  }

  void changeSomeSetting() {
    constexpr std::array<const char*, 4> kOptions = {kFoldersAtTopKey, kRemoveDuplicatesKey, kRenameSamenamedKey,
                                                     kSortBookmarksBarKey};
    world.setOption(kOptions[world.pick(kOptions.size())], world.oneIn(2));
    if (world.oneIn(3)) world.setFileNamed(world.oneIn(2) ? "Bookmarks.plist" : "Others.plist");
    if (world.oneIn(2)) world.setLatency(static_cast<std::int64_t>(world.pick(world.oneIn(4) ? 330 : 6)));
  }

  void planFailure(nanoseconds at) {
    switch (world.pick(4)) {
      case 0:
        world.plan(at, Step::kNeighbour, [this] { world.failNextWrite(); });
        break;
      case 1:
        world.plan(at, Step::kNeighbour, [this] {
          world.removeBackup();
          world.failNextBackup();
        });
        break;
      case 2:
        world.plan(at, Step::kNeighbour, [this] { world.removeBackup(); });
        break;
      default:
        world.plan(at, Step::kAgent, [this] { world.restartAgent(); });
    }
  }

  /// Plans one random action; `at` advances if it takes time.
  void planSomething(nanoseconds& at) {
    const std::size_t what = world.pick(100);
    if (what < 55) {
      world.plan(at, Step::kBookmarksFile, [this] { saveSomething(); });
    } else if (what < 62) {
      world.plan(at, Step::kBookmarksFile, [this] { world.touch(); });
    } else if (what < 77) {
      world.plan(at, Step::kNeighbour, [this] { world.writeNeighbour(); });
    } else if (what < 88) {
      world.plan(at, Step::kNeighbour, [this] { world.setLocked(true); });
      at += world.oneIn(8) ? latency() + 100s : world.upTo(latency() + 20s);
      world.plan(at, Step::kNeighbour, [this] { world.setLocked(false); });
    } else if (what < 95) {
      world.plan(at, Step::kBookmarksFile, [this] { world.remove(); });
      at += world.upTo(1s);
      if (!world.oneIn(4)) world.plan(at, Step::kBookmarksFile, [this] { saveSomething(); });
    } else {
      planFailure(at);
    }
  }

  void runBurst() {
    if (world.oneIn(5)) changeSomeSetting();
    const std::array<nanoseconds, 4> longestPauses = {300ms, 1s, 3s, latency() + 10s};
    const nanoseconds longestPause = longestPauses[world.pick(longestPauses.size())];
    nanoseconds at{0};
    for (std::size_t more = 1 + world.pick(6); more > 0; --more) {
      planSomething(at);
      at += world.upTo(longestPause);
    }
    world.runUntilQuiet();
    world.expectQuiet();
  }

  /// Only saves within one second: they cause exactly one sort, and a rewrite if needed.
  void runPlainBurst() {
    const std::size_t sorts = world.sorts();
    const std::size_t rewrites = world.rewrites();
    const std::size_t errors = world.reportedErrors();
    bool isInOrder = false;
    nanoseconds at{0};
    for (std::size_t more = 1 + world.pick(4); more > 0; --more) {
      world.plan(at, Step::kBookmarksFile, [this, &isInOrder] {
        const std::string bytes = someBookmarks();
        world.save(bytes, Content::kBookmarks);
        isInOrder = world.isInOrder(bytes);
      });
      at += world.upTo(250ms);
    }
    world.runUntilQuiet();
    world.expectQuiet();
    // An injected failure has hit this burst.
    if (world.reportedErrors() > errors) return;
    EXPECT_EQ(world.sorts(), sorts + 1);
    EXPECT_EQ(world.rewrites(), rewrites + (isInOrder ? 0 : 1));
  }

  /// Returns to a fixed state, so that the resources in use can be compared.
  void comeToRest() {
    for (const char* key : {kFoldersAtTopKey, kRemoveDuplicatesKey, kRenameSamenamedKey, kSortBookmarksBarKey}) {
      world.setOption(key, true);
    }
    for (const char* name : {"Others.plist", "Bookmarks.plist"}) {
      world.setFileNamed(name);
      // Uses up injected failures that are still pending.
      for (int i = 0; i < 3; ++i) {
        if (i < 2) world.removeBackup();
        world.save(world.bytesOf("Root[ BookmarksBar[ b a ] BookmarksMenu[ d c ] ]"), Content::kBookmarks);
        world.runUntilQuiet();
      }
    }
    world.restartAgent();
    world.expectQuiet();
    world.forget();
  }
};

TEST_F(EnduranceInBursts, NothingIsLostSortedTwiceOrLeaked) {
  std::size_t heap = 0;
  std::size_t descriptors = 0;
  for (std::size_t burst = 0; burst < bursts && !HasFailure(); ++burst) {
    SCOPED_TRACE("burst " + std::to_string(burst) + " of TARVEL_PROOF_SEED=" + std::to_string(seed));
    if (world.oneIn(3)) {
      runPlainBurst();
    } else {
      runBurst();
    }
    world.forget();
    if (burst == kWarmUp) {
      comeToRest();
      heap = heapInUse();
      descriptors = openDescriptors();
    }
  }
  if (HasFailure()) return;
  comeToRest();
  std::cout << bursts << " bursts, " << world.changes() << " changes, " << world.sorts() << " sorts, "
            << world.rewrites() << " rewrites, " << world.reportedErrors() << " reported errors, " << world.launches()
            << " launches; heap " << heap << " -> " << heapInUse() << " bytes\n";
  EXPECT_GT(world.rewrites(), bursts / 4);
  EXPECT_GT(world.reportedErrors(), bursts / 50);
  EXPECT_LE(heapInUse(), heap + kHeapAllowance);
  EXPECT_EQ(openDescriptors(), descriptors);
}

}  // namespace
}  // namespace tarvel
