#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// The versions that a feed offers for this system. The two kinds are not comparable.
struct FeedVersions {
  /// Internal versions (build numbers).
  std::vector<std::string> internal;
  /// Short versions, of items without an internal one.
  std::vector<std::string> shortOnly;
};

/// None if the feed is invalid: malformed, of another kind, nested too deeply, or with a document type, which could
/// declare entities.
///
/// A feed is RSS whose items name their version in the namespace of update feeds, as an element or as an attribute of
/// the enclosure. Items for other systems or of a named channel are skipped, and so are versions that are not plain
/// text, as they are displayed.
[[nodiscard]] std::optional<FeedVersions> versionsInFeed(std::string_view feed);

/// The installed version, of both kinds.
struct CurrentVersion {
  std::string internal;
  std::string shortVersion;
};

/// The newest internal version above the installed one or, failing that, the newest short version, each compared with
/// its own kind. None if there is none, or if the user chose to skip it.
[[nodiscard]] std::optional<std::string> updateInFeed(const FeedVersions& feed, const CurrentVersion& current,
                                                      std::string_view skipped);

/// The newest version above `current`, all of one kind. None if there is none, or if the user chose to skip it.
[[nodiscard]] std::optional<std::string> newestUpdate(const std::vector<std::string>& versions,
                                                      std::string_view current, std::string_view skipped);

}  // namespace tarvel
