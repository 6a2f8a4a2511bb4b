#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace tarvel {

/// The versions that a feed offers to everybody on this system. None when the feed is no feed: malformed, of another
/// kind, nested beyond all measure, or with a document type, in which entities could be declared.
///
/// A feed is RSS whose items name their version in the namespace of update feeds, as an element or as an attribute of
/// the enclosure; the internal version counts where both kinds are there. Items for another system, and those of a
/// channel that one has to ask for, are left out.
[[nodiscard]] std::optional<std::vector<std::string>> versionsInFeed(std::string_view feed);

/// The newest version that is newer than `current`. None when there is none, or when it is the one that the user chose
/// to skip.
[[nodiscard]] std::optional<std::string> newestUpdate(const std::vector<std::string>& versions,
                                                      std::string_view current, std::string_view skipped);

}  // namespace tarvel
