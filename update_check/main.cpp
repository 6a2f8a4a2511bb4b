// tarvel-update-check: looks once whether a feed offers a newer version. The agent starts it, so that it needs neither
// the network nor a parser of its own.

#include <CLI/CLI.hpp>
#include <exception>
#include <iostream>

#include "update_check/download.h"
#include "update_check/feed.h"

namespace {

constexpr int kFound = 0;
constexpr int kNothingNew = 1;
constexpr int kFault = 2;

int check(const std::string& address, const std::string& current, const std::string& skipped) {
  const tarvel::Download download = tarvel::downloadFeed(address, {});
  if (!download.fault.empty()) {
    std::cerr << "tarvel-update-check: " << download.fault << "\n";
    return kFault;
  }
  const auto versions = tarvel::versionsInFeed(download.body);
  if (!versions) {
    std::cerr << "tarvel-update-check: This is no feed of updates.\n";
    return kFault;
  }
  const auto update = tarvel::newestUpdate(*versions, current, skipped);
  if (!update) return kNothingNew;
  std::cout << *update << std::endl;
  return std::cout ? kFound : kFault;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app{"Looks whether a feed offers a version newer than the one at hand, and prints it."};
    app.footer("Exit status: 0 a newer version was printed, 1 there is none, 2 it could not be found out.");
    app.set_version_flag("--version", "tarvel-update-check " TARVEL_VERSION);
    std::string feed;
    std::string current;
    std::string skipped;
    app.add_option("--feed", feed, "Address of the feed, https only")->required();
    app.add_option("--current", current, "The version at hand")->required();
    app.add_option("--skipped", skipped, "A version that is not worth a word");
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : kFault;
    }
    return check(feed, current, skipped);
  } catch (const std::exception& error) {
    std::cerr << "tarvel-update-check: " << error.what() << "\n";
    return kFault;
  }
}
