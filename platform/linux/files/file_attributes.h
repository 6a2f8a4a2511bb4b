#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

// A file's metadata. Internal to platform/linux.
namespace tarvel {

/// Copies extended attributes, ACLs included, and removes those that only the target has: a folder's default ACL
/// applies to new files. False if the two still differ; what could be copied was.
[[nodiscard]] bool matchAttributes(int from, int to);

/// Copies permissions, dates and attributes to a copy. Attributes that the target's file system does not support are
/// dropped; without its ACL the copy grants no more access than the original. False with errno set if permissions or
/// dates could not be set.
[[nodiscard]] bool copyMetadata(int from, const struct stat& original, int to);

/// Records the source path of a copy as an extended attribute, if the file system supports them.
void recordSource(int copy, const std::string& source);
/// The recorded path; none if there is none.
[[nodiscard]] std::optional<std::string> recordedSource(const std::string& path);

}  // namespace tarvel
