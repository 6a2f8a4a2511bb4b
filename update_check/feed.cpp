#include "update_check/feed.h"

#include <expat.h>

#include <algorithm>
#include <memory>
#include <utility>

#include "update_check/plain_text.h"
#include "update_check/version.h"

namespace tarvel {

namespace {

/// Separates namespace and name; namespaces contain no spaces.
constexpr char kSeparator = ' ';
constexpr std::string_view kUpdates = "http://www.andymatuschak.org/xml-namespaces/sparkle ";
constexpr std::size_t kDeepest = 64;
constexpr std::string_view kThisSystem = "linux";

struct Item {
  std::string version;
  std::string shortVersion;
  std::string system;
  std::string channel;
};

/// The state of the parser.
class FeedReader {
 public:
  explicit FeedReader(XML_Parser parser) : parser_(parser) {
    XML_SetUserData(parser, this);
    XML_SetElementHandler(parser, begin, end);
    XML_SetCharacterDataHandler(parser, characters);
    XML_SetStartDoctypeDeclHandler(parser, doctype);
  }

  [[nodiscard]] bool isFeed() const { return isRss_ && !isRefused_; }
  [[nodiscard]] FeedVersions takeVersions() { return std::move(versions_); }

 private:
  static void begin(void* self, const char* name, const char** attributes) {
    static_cast<FeedReader*>(self)->beginElement(name, attributes);
  }
  static void end(void* self, const char* name) { static_cast<FeedReader*>(self)->endElement(name); }
  static void characters(void* self, const char* text, int size) {
    auto& reader = *static_cast<FeedReader*>(self);
    if (reader.field_ != nullptr) reader.field_->append(text, static_cast<std::size_t>(size));
  }
  static void doctype(void* self, const char* /*name*/, const char* /*system*/, const char* /*id*/, int /*internal*/) {
    static_cast<FeedReader*>(self)->refuse();
  }

  void refuse() {
    isRefused_ = true;
    (void)XML_StopParser(parser_, XML_FALSE);
  }

  [[nodiscard]] std::string* fieldNamed(std::string_view name) {
    if (!name.starts_with(kUpdates)) return nullptr;
    name.remove_prefix(kUpdates.size());
    if (name == "version") return &item_.version;
    if (name == "shortVersionString") return &item_.shortVersion;
    if (name == "os") return &item_.system;
    return name == "channel" ? &item_.channel : nullptr;
  }

  void beginElement(std::string_view name, const char** attributes) {
    path_.emplace_back(name);
    if (path_.size() == 1) isRss_ = name == "rss";
    if (path_.size() > kDeepest) return refuse();
    field_ = nullptr;
    if (path_.size() == 3 && name == "item" && path_[1] == "channel") item_ = {};
    if (path_.size() != 4 || path_[2] != "item") return;
    if (name == "enclosure") {
      for (; *attributes != nullptr; attributes += 2) {
        if (std::string* field = fieldNamed(attributes[0])) *field = attributes[1];
      }
    } else if (std::string* field = fieldNamed(name)) {
      field->clear();
      field_ = field;
    }
  }

  void endElement(std::string_view name) {
    field_ = nullptr;
    if (path_.size() == 3 && name == "item") takeItem();
    path_.pop_back();
  }

  void takeItem() {
    const bool isOurs = (item_.system.empty() || item_.system == kThisSystem) && item_.channel.empty();
    if (!isOurs) return;
    const bool isInternal = !item_.version.empty();
    std::string& version = isInternal ? item_.version : item_.shortVersion;
    if (version.empty() || !std::ranges::all_of(version, isPlainCharacter)) return;
    (isInternal ? versions_.internal : versions_.shortOnly).push_back(std::move(version));
  }

  XML_Parser parser_;
  std::vector<std::string> path_;
  Item item_;
  std::string* field_ = nullptr;
  FeedVersions versions_;
  bool isRss_ = false;
  bool isRefused_ = false;
};

}  // namespace

std::optional<FeedVersions> versionsInFeed(std::string_view feed) {
  constexpr std::size_t kLargest = std::size_t{64} * 1024 * 1024;
  if (feed.size() > kLargest) return std::nullopt;
  const std::unique_ptr<XML_ParserStruct, decltype(&XML_ParserFree)> parser(XML_ParserCreateNS(nullptr, kSeparator),
                                                                            XML_ParserFree);
  if (!parser) return std::nullopt;
  FeedReader reader(parser.get());
  const auto status = XML_Parse(parser.get(), feed.data(), static_cast<int>(feed.size()), XML_TRUE);
  if (status != XML_STATUS_OK || !reader.isFeed()) return std::nullopt;
  return reader.takeVersions();
}

std::optional<std::string> newestUpdate(const std::vector<std::string>& versions, std::string_view current,
                                        std::string_view skipped) {
  const std::string* newest = nullptr;
  for (const std::string& version : versions) {
    const std::string_view best = newest == nullptr ? current : std::string_view(*newest);
    if (compareVersions(version, best) == std::strong_ordering::greater) newest = &version;
  }
  if (newest == nullptr || *newest == skipped) return std::nullopt;
  return *newest;
}

std::optional<std::string> updateInFeed(const FeedVersions& feed, const CurrentVersion& current,
                                        std::string_view skipped) {
  auto update = newestUpdate(feed.internal, current.internal, skipped);
  return update ? update : newestUpdate(feed.shortOnly, current.shortVersion, skipped);
}

}  // namespace tarvel
