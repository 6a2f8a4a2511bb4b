#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// What a feed offers to everybody on this system. The two kinds of versions have nothing to do with each other.
struct FeedVersions {
  /// Internal versions, which count builds.
  std::vector<std::string> internal;
  /// Versions for people, of items that tell no internal one.
  std::vector<std::string> shortOnly;
};

/// None when the feed is no feed: malformed, of another kind, nested beyond all measure, or with a document type, in
/// which entities could be declared.
///
/// A feed is RSS whose items name their version in the namespace of update feeds, as an element or as an attribute of
/// the enclosure. Items for another system, and those of a channel that one has to ask for, are left out, and so are
/// versions that are not plain text, as they are shown to people.
[[nodiscard]] std::optional<FeedVersions> versionsInFeed(std::string_view feed);

/// The version at hand, of either kind.
struct CurrentVersion {
  std::string internal;
  std::string shortVersion;
};

/// The newest internal version that is newer than the one at hand or, failing that, the newest short one, each compared
/// with its own kind. None when there is none, or when it is the one that the user chose to skip.
[[nodiscard]] std::optional<std::string> updateInFeed(const FeedVersions& feed, const CurrentVersion& current,
                                                      std::string_view skipped);

/// The newest version that is newer than `current`, all being of one kind. None when there is none, or when it is the
/// one that the user chose to skip.
[[nodiscard]] std::optional<std::string> newestUpdate(const std::vector<std::string>& versions,
                                                      std::string_view current, std::string_view skipped);

}  // namespace tarvel
