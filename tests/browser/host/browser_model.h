#pragma once

#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <string>
#include <vector>

namespace tarvel {

enum class BrowserFamily { kChromium, kFirefox };

/// The bookmarks of a browser with the moves of its own API, as measured. In Chromium the index of a move counts the
/// entry at its old place too, and one beyond the end is refused. In Firefox it is the final index, and one beyond the
/// end means the end. Nodes are never created again, so a lost or repeated one is noticed.
class BrowserModel {
 public:
  struct Node {
    std::string parent;
    std::string title;
    std::string address;
    std::string type;  ///< "bookmark", "folder" or "separator".
    std::vector<std::string> children;
    std::int64_t dateAdded = 0;

    friend bool operator==(const Node&, const Node&) = default;
  };

  explicit BrowserModel(BrowserFamily family);

  /// Adds at the end of `parent`; returns the id.
  std::string add(const std::string& parent, const std::string& title, const std::string& type,
                  const std::string& address = {});
  /// The roots, bar first.
  [[nodiscard]] const std::vector<std::string>& roots() const { return roots_; }
  [[nodiscard]] std::string otherRoot() const { return roots_[1]; }

  /// In the form of the API.
  [[nodiscard]] nlohmann::json tree() const;
  /// One operation of a plan, translated as the extension does. False for one that this browser would refuse.
  [[nodiscard]] bool apply(const nlohmann::json& operation);
  /// As a user does it, by final index.
  [[nodiscard]] bool move(const std::string& id, const std::string& parent, std::size_t index);
  [[nodiscard]] const std::map<std::string, Node>& nodes() const { return nodes_; }
  [[nodiscard]] std::map<std::string, Node>& nodes() { return nodes_; }
  [[nodiscard]] std::size_t moveCount() const { return moves_; }

 private:
  [[nodiscard]] nlohmann::json nodeAsJson(const std::string& id, std::size_t index) const;
  [[nodiscard]] bool isWithin(const std::string& id, const std::string& folder) const;

  BrowserFamily family_;
  std::map<std::string, Node> nodes_;
  std::vector<std::string> roots_;
  std::string lastCreated_;
  std::size_t next_ = 100;
  std::size_t moves_ = 0;
};

/// Random bookmarks: nested folders, repeated titles and addresses, separators in Firefox.
[[nodiscard]] BrowserModel randomModel(BrowserFamily family, std::uint32_t seed);

}  // namespace tarvel
