#include "bench/generate_bookmarks.h"

#include <array>
#include <cstdio>
#include <optional>
#include <random>
#include <vector>

#include "platform/plist/binary_writer.h"

namespace tarvel::bench {

namespace {

constexpr std::array kWords = {"alpha", "beta",   "gamma",   "delta",   "news", "mail",  "blog",    "wiki",  "docs",
                               "music", "video",  "photo",   "travel",  "home", "food",  "science", "maps",  "code",
                               "paper", "garden", "kitchen", "history", "shop", "tools", "weather", "radio", "games"};
constexpr std::array kOtherWords = {"Ärzte", "café", "über", "naïve", "日本語", "Łódź", "Ελλάδα", "Москва"};
/// The usual reason for a title that is not ASCII.
constexpr std::array kMarks = {" – ", " — ", " · ", " • ", "’s ", " “quoted” ", "… "};
constexpr std::size_t kDeepest = 250;

/// How often something occurs, in percent, and how large folders are.
struct Shares {
  std::uint64_t marks = 0;
  std::uint64_t otherScripts = 8;
  std::uint64_t duplicates = 0;
  std::uint64_t sameNamed = 0;
  std::uint64_t untitled = 0;
  std::uint64_t sync = 33;
  std::uint64_t readingList = 0;  ///< Of all bookmarks.
  std::size_t leastInFolder = 20;
  std::size_t mostInFolder = 60;
};
constexpr Shares kReal = {8, 2, 3, 4, 1, 20, 1, 15, 35};

class Generator {
 public:
  Generator(std::uint64_t seed, std::string_view shape)
      : random_(seed),
        shape_(shape),
        shares_(shape == "real" ? kReal : Shares()),
        owner_(std::make_shared<PropertyListTree>()) {}

  PropertyList make(std::size_t count) {
    const PropertyListDictionary root = node("WebBookmarkTypeList");
    const PropertyListArray children = owner_->makeArray(0);
    children.append(titled("WebBookmarkTypeProxy", "History").value());
    const PropertyListDictionary bar = titled("WebBookmarkTypeList", "BookmarksBar");
    const PropertyListDictionary menu = titled("WebBookmarkTypeList", "BookmarksMenu");
    const bool hasFolders = shape_ == "shuffled" || shape_ == "real";
    const std::size_t inReadingList = count * shares_.readingList / 100;
    const std::size_t inBar = hasFolders ? count / 10 : 0;
    bar.set("Children", (hasFolders ? folders(inBar) : owner_->makeArray(0)).value());
    const std::size_t inMenu = count - inBar - inReadingList;
    menu.set("Children", (hasFolders ? folders(inMenu) : shaped(inMenu)).value());
    children.append(bar.value());
    children.append(menu.value());
    if (inReadingList > 0) children.append(readingList(inReadingList).value());
    root.set("Children", children.value());
    root.setString("Title", "");
    root.set("WebBookmarkFileVersion", owner_->makeInteger(1));
    return {owner_, root.value()};
  }

 private:
  std::uint64_t pick(std::uint64_t below) { return random_() % below; }
  bool occurs(std::uint64_t percent) { return percent > 0 && pick(100) < percent; }

  std::string uuid() {
    std::array<char, 40> text{};
    const std::uint64_t a = random_();
    const std::uint64_t b = random_();
    (void)std::snprintf(text.data(), text.size(), "%08X-%04X-4%03X-%04X-%012llX", static_cast<unsigned>(a >> 32),
                        static_cast<unsigned>(a >> 16 & 0xFFFF), static_cast<unsigned>(a & 0xFFF),
                        static_cast<unsigned>(0x8000 | (b >> 50 & 0x3FFF)),
                        static_cast<unsigned long long>(b & 0xFFFF'FFFF'FFFF));
    return text.data();
  }

  PropertyListDictionary node(std::string_view type) {
    const PropertyListDictionary made = owner_->makeDictionary();
    made.setString("WebBookmarkType", type);
    made.setString("WebBookmarkUUID", uuid());
    return made;
  }
  PropertyListDictionary titled(std::string_view type, std::string_view title) {
    const PropertyListDictionary made = node(type);
    made.setString("Title", title);
    return made;
  }

  std::string title() {
    if (shape_ == "same-named") return "News";
    std::string text = shape_ == "common-prefix" ? std::string(1000, 'p') : std::string();
    for (std::uint64_t words = 2 + pick(4); words > 0; --words) {
      text += (text.empty() ? "" : " ") + std::string(kWords[pick(kWords.size())]);
    }
    if (occurs(shares_.marks)) text += std::string(kMarks[pick(kMarks.size())]) + kWords[pick(kWords.size())];
    if (occurs(shares_.otherScripts)) text += " " + std::string(kOtherWords[pick(kOtherWords.size())]);
    return text + " " + std::to_string(pick(1000));
  }

  /// Usually a new title; sometimes that of the previous entry, or none.
  std::optional<std::string> nextTitle() {
    if (occurs(shares_.untitled)) return std::nullopt;
    if (lastTitle_.empty() || !occurs(shares_.sameNamed)) lastTitle_ = title();
    return lastTitle_;
  }

  std::size_t nextSerial() {
    if (serial_ > 0 && occurs(shares_.duplicates)) return pick(serial_);
    return serial_++;
  }

  std::string address(std::size_t serial) {
    if (shape_ == "identical-addresses") return "https://www.example.org/";
    if (shape_ == "half-duplicates") serial /= 2;
    std::mt19937_64 own(serial);
    return "https://www." + std::string(kWords[own() % kWords.size()]) + ".example.org/" +
           std::string(kWords[own() % kWords.size()]) + "/" + std::to_string(serial) +
           "?ref=" + std::to_string(own() >> 24);
  }

  PropertyListValue leaf() {
    const PropertyListDictionary made = node("WebBookmarkTypeLeaf");
    const PropertyListDictionary uri = owner_->makeDictionary();
    if (const auto title = nextTitle()) uri.setString("title", *title);
    made.set("URIDictionary", uri.value());
    made.setString("URLString", address(nextSerial()));
    if (occurs(shares_.sync)) addSync(made);
    return made.value();
  }

  PropertyListDictionary readingList(std::size_t count) {
    const PropertyListDictionary made = titled("WebBookmarkTypeList", "com.apple.ReadingList");
    made.set("ShouldOmitFromUI", owner_->makeBoolean(true));
    const PropertyListArray children = leaves(count);
    for (std::size_t i = 0; i < count; ++i) {
      const PropertyListDictionary details = owner_->makeDictionary();
      details.set("DateAdded", owner_->makeDate(static_cast<double>(600'000'000 + pick(100'000'000))));
      details.setString("PreviewText", title() + " " + title());
      children.at(i).dictionary().set("ReadingList", details.value());
    }
    made.set("Children", children.value());
    return made;
  }

  /// Data that the browser adds to some entries and that no other program reads.
  void addSync(PropertyListDictionary leaf) {
    std::vector<std::uint8_t> bytes(200);
    for (std::uint8_t& byte : bytes) byte = static_cast<std::uint8_t>(random_());
    const PropertyListDictionary sync = owner_->makeDictionary();
    sync.set("Data", owner_->makeData(bytes));
    sync.setString("ServerID", uuid());
    leaf.set("Sync", sync.value());
  }

  PropertyListArray leaves(std::size_t count) {
    const PropertyListArray children = owner_->makeArray(count);
    for (std::size_t i = 0; i < count; ++i) children.append(leaf());
    return children;
  }

  /// Folders of ordinary size, some inside others.
  PropertyListArray folders(std::size_t count) {
    const PropertyListArray children = owner_->makeArray(0);
    std::vector<PropertyListArray> open = {children};
    while (count > 0) {
      const std::size_t size =
          std::min<std::size_t>(count, shares_.leastInFolder + pick(shares_.mostInFolder - shares_.leastInFolder + 1));
      const PropertyListDictionary folder = titled("WebBookmarkTypeList", title());
      folder.set("Children", leaves(size).value());
      open[pick(open.size())].append(folder.value());
      if (open.size() < 40) open.push_back(folder.array("Children"));
      count -= size;
    }
    return children;
  }

  PropertyListArray shaped(std::size_t count) {
    if (shape_ != "deep") return leaves(count);
    PropertyListArray inner = leaves(count - std::min(count, kDeepest));
    for (std::size_t i = 0; i < std::min(count, kDeepest); ++i) {
      const PropertyListDictionary folder = titled("WebBookmarkTypeList", title());
      inner.append(leaf());
      folder.set("Children", inner.value());
      inner = owner_->makeArray(2);
      inner.append(folder.value());
    }
    return inner;
  }

  std::mt19937_64 random_;
  std::string shape_;
  Shares shares_;
  std::string lastTitle_;
  std::shared_ptr<PropertyListTree> owner_;
  std::size_t serial_ = 0;
};

}  // namespace

PropertyList generateBookmarks(std::size_t count, std::uint64_t seed, std::string_view shape) {
  constexpr std::array<std::string_view, 8> kShapes = {
      "real", "shuffled", "flat", "same-named", "identical-addresses", "half-duplicates", "common-prefix", "deep"};
  for (const std::string_view known : kShapes) {
    if (shape == known) return Generator(seed, shape).make(count);
  }
  return {};
}

std::string binaryForm(const PropertyList& list) { return writeBinary(list).data.joined(); }

}  // namespace tarvel::bench
