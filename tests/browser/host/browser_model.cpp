#include "tests/browser/host/browser_model.h"

#include <algorithm>

namespace tarvel {

BrowserModel::BrowserModel(BrowserFamily family) : family_(family) {
  roots_ = family == BrowserFamily::kChromium
               ? std::vector<std::string>{"1", "2"}
               : std::vector<std::string>{"toolbar_____", "unfiled_____", "mobile______"};
  for (const std::string& root : roots_) nodes_[root] = {"", "Root " + root, "", "folder", {}, 0};
}

std::string BrowserModel::add(const std::string& parent, const std::string& title, const std::string& type,
                              const std::string& address) {
  const std::string id = std::to_string(next_++);
  nodes_[id] = {parent, title, address, type, {}, static_cast<std::int64_t>(next_) * 1000};
  nodes_[parent].children.push_back(id);
  return id;
}

nlohmann::json BrowserModel::nodeAsJson(const std::string& id, std::size_t index) const {
  const Node& node = nodes_.at(id);
  // Not from an initializer list, whose values would be copied.
  nlohmann::json json;
  json["id"] = id;
  json["title"] = node.title;
  json["index"] = index;
  json["dateAdded"] = node.dateAdded;
  if (family_ == BrowserFamily::kFirefox) json["type"] = node.type;
  if (node.type == "separator") json["url"] = "data:";
  if (node.type == "bookmark") json["url"] = node.address;
  if (node.type != "folder") return json;
  nlohmann::json& children = json["children"] = nlohmann::json::array();
  for (std::size_t i = 0; i < node.children.size(); ++i) children.push_back(nodeAsJson(node.children[i], i));
  return json;
}

nlohmann::json BrowserModel::tree() const {
  nlohmann::json top = {{"id", "root"}, {"title", ""}, {"children", nlohmann::json::array()}};
  for (std::size_t i = 0; i < roots_.size(); ++i) top["children"].push_back(nodeAsJson(roots_[i], i));
  return nlohmann::json::array({std::move(top)});
}

bool BrowserModel::isWithin(const std::string& id, const std::string& folder) const {
  for (std::string at = id; !at.empty(); at = nodes_.at(at).parent) {
    if (at == folder) return true;
  }
  return false;
}

bool BrowserModel::move(const std::string& id, const std::string& parent, std::size_t index) {
  if (!nodes_.contains(id) || !nodes_.contains(parent) || nodes_[parent].type != "folder") return false;
  if (nodes_[id].parent.empty() || isWithin(parent, id)) return false;
  std::erase(nodes_[nodes_[id].parent].children, id);
  auto& children = nodes_[parent].children;
  if (index > children.size()) return false;
  children.insert(children.begin() + static_cast<std::ptrdiff_t>(index), id);
  nodes_[id].parent = parent;
  ++moves_;
  return true;
}

bool BrowserModel::apply(const nlohmann::json& operation) {
  const std::string kind = operation[0];
  std::string id = operation[1];
  if (kind == "retitle") {
    nodes_[id].title = operation[2];
    return true;
  }
  if (kind == "remove") {
    if (!nodes_.contains(id) || !nodes_[id].children.empty()) return false;
    std::erase(nodes_[nodes_[id].parent].children, id);
    nodes_.erase(id);
    return true;
  }
  std::string parent = operation[2];
  const std::size_t index = operation[3];
  if (kind == "create") {
    if (index != nodes_[parent].children.size()) return false;
    lastCreated_ = add(parent, operation[4], "folder");
    return true;
  }
  if (parent.empty()) parent = lastCreated_;
  // The final index is the same everywhere; the flag must say what Chromium's index needs besides.
  if (nodes_[id].parent == parent) {
    const auto& children = nodes_[parent].children;
    const auto now = static_cast<std::size_t>(std::ranges::find(children, id) - children.begin());
    if (operation[4] != (index > now) || index == now) return false;
  } else if (operation[4] != false) {
    return false;
  }
  return move(id, parent, index);
}

BrowserModel randomModel(BrowserFamily family, std::uint32_t seed) {
  std::mt19937 random(seed);
  const auto below = [&random](std::size_t limit) {
    return std::uniform_int_distribution<std::size_t>(0, limit - 1)(random);
  };
  BrowserModel model(family);
  std::vector<std::string> folders = model.roots();
  const std::size_t count = below(60);
  for (std::size_t i = 0; i < count; ++i) {
    const std::string parent = folders[below(folders.size())];
    const std::string title = below(8) == 0 ? "" : "Title " + std::to_string(below(20));
    const std::size_t kind = below(10);
    if (kind < 3) {
      folders.push_back(model.add(parent, title, "folder"));
    } else if (kind < 4 && family == BrowserFamily::kFirefox) {
      (void)model.add(parent, "", "separator");
    } else {
      (void)model.add(parent, title, "bookmark", "https://example.org/" + std::to_string(below(25)));
    }
  }
  return model;
}

}  // namespace tarvel
