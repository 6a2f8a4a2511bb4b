// tarvel-update-check: checks once whether a feed offers a newer version. A separate program, so that the agent needs
// neither network access nor a parser for feeds.

#include <CLI/CLI.hpp>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>

#include "update_check/download.h"
#include "update_check/feed.h"
#include "update_check/plain_text.h"

namespace {

constexpr int kFound = 0;
constexpr int kNothingNew = 1;
constexpr int kFault = 2;

int complain(const std::string& text) {
  std::cerr << "tarvel-update-check: " << tarvel::plainText(text) << "\n";
  return kFault;
}

struct Request {
  std::string feed;
  tarvel::CurrentVersion current;
  std::string skipped;
};

int check(const Request& request) {
  tarvel::DownloadTerms terms;
  if (const char* certificates = std::getenv("SSL_CERT_FILE")) terms.certificates = certificates;
  const tarvel::Download download = tarvel::downloadFeed(request.feed, terms);
  if (!download.fault.empty()) return complain(download.fault);
  const auto versions = tarvel::versionsInFeed(download.body);
  if (!versions) return complain("This is no feed of updates.");
  const auto update = tarvel::updateInFeed(*versions, request.current, request.skipped);
  if (!update) return kNothingNew;
  std::cout << *update << std::endl;
  return std::cout ? kFound : kFault;
}

std::string objectionToVersion(const std::string& text) {
  return text.empty() ? "The version is empty, and anything would be newer." : "";
}

}  // namespace

int main(int argc, char** argv) {
  try {
    CLI::App app{"Looks whether a feed offers a version newer than the one at hand, and prints it."};
    app.footer("Exit status: 0 a newer version was printed, 1 there is none, 2 it could not be found out.");
    app.set_version_flag("--version", "tarvel-update-check " TARVEL_VERSION);
    Request request;
    tarvel::CurrentVersion& current = request.current;
    app.add_option("--feed", request.feed, "Address of the feed, https only")->required();
    app.add_option("--current", current.internal, "The version at hand")->required()->check(objectionToVersion);
    app.add_option("--current-short", current.shortVersion, "Its version for people, if it has another one");
    app.add_option("--skipped", request.skipped, "A version that is not worth a word");
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? 0 : kFault;
    }
    if (current.shortVersion.empty()) current.shortVersion = current.internal;
    return check(request);
  } catch (const std::exception& error) {
    return complain(error.what());
  }
}
