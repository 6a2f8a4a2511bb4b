#pragma once

#include <span>
#include <string_view>

namespace tarvel {

struct StatusHelp {
  int status;
  std::string_view meaning;
};

/// What the help says of a command beyond its options.
struct CommandHelp {
  /// The words that lead to it; empty for the program itself.
  std::string_view name;
  /// What follows the name.
  std::string_view usage;
  std::span<const std::string_view> examples;
  std::span<const StatusHelp> statuses;
};

/// Every command has an entry; that of an unknown name is the program's own.
[[nodiscard]] const CommandHelp& commandHelp(std::string_view name);

}  // namespace tarvel
