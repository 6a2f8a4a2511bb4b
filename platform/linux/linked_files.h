#pragma once

#include <map>
#include <set>
#include <string>

// Internal to platform/linux.
namespace tarvel {

/// Names in other folders on which the entries of one folder depend: folder -> names.
using LinkedNames = std::map<std::string, std::set<std::string>>;

/// Where the symbolic links among a folder's entries lead, hop by hop; a file that is missing is named too. Looks at a
/// bounded number of links: a folder of bookmarks has one or two.
[[nodiscard]] LinkedNames linkedNames(const std::string& folder);

/// Whether the entry is a symbolic link.
[[nodiscard]] bool isLink(const std::string& folder, const std::string& name);

}  // namespace tarvel
