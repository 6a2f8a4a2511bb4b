// The same job on libplist and ICU, written the straightforward way. peer_libplist FILE

#include <plist/plist.h>
#include <unicode/ucol.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>
#include <string>
#include <unordered_set>
#include <vector>

namespace {

UCollator* collator = nullptr;

std::string text(plist_t node, const char* key) {
  plist_t item = node == nullptr ? nullptr : plist_dict_get_item(node, key);
  if (item == nullptr || plist_get_node_type(item) != PLIST_STRING) return {};
  return plist_get_string_ptr(item, nullptr);
}

std::string titleOf(plist_t node) {
  const std::string title = text(node, "Title");
  return title.empty() ? text(plist_dict_get_item(node, "URIDictionary"), "title") : title;
}

void setTitle(plist_t node, const std::string& title) {
  plist_t uri = plist_dict_get_item(node, "URIDictionary");
  plist_dict_set_item(uri != nullptr ? uri : node, uri != nullptr ? "title" : "Title", plist_new_string(title.c_str()));
}

void clean(plist_t folder, std::unordered_set<std::string>& addresses);

bool isFaulty(plist_t node, std::unordered_set<std::string>& addresses) {
  const std::string kind = text(node, "WebBookmarkType");
  if (kind == "WebBookmarkTypeList") {
    clean(node, addresses);
    plist_t children = plist_dict_get_item(node, "Children");
    return children == nullptr || plist_array_get_size(children) == 0;
  }
  if (kind != "WebBookmarkTypeLeaf") return false;
  const std::string address = text(node, "URLString");
  return address.find_first_not_of(" \t") == std::string::npos || !addresses.insert(address).second;
}

void clean(plist_t folder, std::unordered_set<std::string>& addresses) {
  plist_t children = plist_dict_get_item(folder, "Children");
  if (children == nullptr) return;
  std::unordered_set<std::string> titles;
  for (std::uint32_t i = plist_array_get_size(children); i-- > 0;) {
    plist_t node = plist_array_get_item(children, i);
    if (isFaulty(node, addresses)) {
      plist_array_remove_item(children, i);
      continue;
    }
    std::string candidate = titleOf(node);
    const bool isUntitled = candidate.empty();
    if (isUntitled) candidate = text(node, "URLString");
    for (int number = 2; !isUntitled && !titles.insert(candidate).second; ++number) {
      candidate += " " + std::to_string(number);
    }
    if (isUntitled || candidate != titleOf(node)) setTitle(node, candidate);
  }
}

struct Entry {
  int rank;
  std::vector<std::uint8_t> key;
  plist_t node;
};

std::vector<std::uint8_t> keyOf(const std::string& title) {
  std::vector<UChar> units(title.size() + 1);
  UErrorCode error = U_ZERO_ERROR;
  std::int32_t length = 0;
  u_strFromUTF8(units.data(), static_cast<std::int32_t>(units.size()), &length, title.data(),
                static_cast<std::int32_t>(title.size()), &error);
  std::vector<std::uint8_t> key(4 * title.size() + 16);
  const std::int32_t size =
      ucol_getSortKey(collator, units.data(), length, key.data(), static_cast<std::int32_t>(key.size()));
  key.resize(static_cast<std::size_t>(size));
  return key;
}

int rankOf(plist_t node) {
  const std::string kind = text(node, "WebBookmarkType");
  if (kind == "WebBookmarkTypeProxy") return 0;
  return kind == "WebBookmarkTypeList" ? 1 : kind == "WebBookmarkTypeLeaf" ? 2 : 3;
}

/// Orders a folder and its subfolders; returns whether anything moved.
bool order(plist_t folder) {
  plist_t children = plist_dict_get_item(folder, "Children");
  if (children == nullptr) return false;
  bool moved = false;
  std::vector<Entry> entries;
  plist_array_iter iterator = nullptr;
  plist_array_new_iter(children, &iterator);
  plist_t node = nullptr;
  for (plist_array_next_item(children, iterator, &node); node != nullptr;
       plist_array_next_item(children, iterator, &node)) {
    moved |= order(node);
    entries.push_back({rankOf(node), keyOf(titleOf(node)), node});
  }
  std::free(iterator);
  if (text(folder, "Title") == "BookmarksBar") return moved;
  const auto before = [](const Entry& a, const Entry& b) { return a.rank != b.rank ? a.rank < b.rank : a.key < b.key; };
  if (std::is_sorted(entries.begin(), entries.end(), before)) return moved;
  std::stable_sort(entries.begin(), entries.end(), before);
  plist_t sorted = plist_new_array();
  for (const Entry& entry : entries) plist_array_append_item(sorted, plist_copy(entry.node));
  plist_dict_set_item(folder, "Children", sorted);
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) return 64;
  UErrorCode error = U_ZERO_ERROR;
  collator = ucol_open("", &error);
  ucol_setStrength(collator, UCOL_SECONDARY);
  ucol_setAttribute(collator, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, &error);
  std::ifstream in(argv[1], std::ios::binary);
  const std::string bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  plist_t root = nullptr;
  plist_from_bin(bytes.data(), static_cast<std::uint32_t>(bytes.size()), &root);
  if (root == nullptr) return 1;
  plist_t children = plist_dict_get_item(root, "Children");
  bool moved = false;
  for (std::uint32_t i = 0; i < plist_array_get_size(children); ++i) {
    plist_t child = plist_array_get_item(children, i);
    const std::string title = text(child, "Title");
    if (title != "BookmarksBar" && title != "BookmarksMenu") continue;
    std::unordered_set<std::string> addresses;
    clean(child, addresses);
    moved |= order(child);
  }
  if (!moved) return 0;
  char* written = nullptr;
  std::uint32_t size = 0;
  plist_to_bin(root, &written, &size);
  std::ofstream(argv[1], std::ios::binary).write(written, size);
  return 0;
}
