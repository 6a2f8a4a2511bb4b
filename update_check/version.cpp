#include "update_check/version.h"

namespace tarvel {

namespace {

/// From oldest to newest.
enum class Kind { kWord, kDot, kNumber };

struct Piece {
  Kind kind = Kind::kWord;
  std::string_view text;
};

Kind kindOf(char c) {
  if (c >= '0' && c <= '9') return Kind::kNumber;
  return c == '.' ? Kind::kDot : Kind::kWord;
}

/// Removes the first piece of a non-empty version. Each dot is a piece.
Piece takePiece(std::string_view& version) {
  const Kind kind = kindOf(version.front());
  std::size_t size = 1;
  while (kind != Kind::kDot && size < version.size() && kindOf(version[size]) == kind) ++size;
  const Piece piece{kind, version.substr(0, size)};
  version.remove_prefix(size);
  return piece;
}

std::strong_ordering compareNumbers(std::string_view first, std::string_view second) {
  const auto withoutZeros = [](std::string_view digits) {
    const std::size_t begin = digits.find_first_not_of('0');
    return begin == std::string_view::npos ? std::string_view() : digits.substr(begin);
  };
  const std::string_view a = withoutZeros(first);
  const std::string_view b = withoutZeros(second);
  if (a.size() != b.size()) return a.size() <=> b.size();
  return a <=> b;
}

std::strong_ordering comparePieces(const Piece& first, const Piece& second) {
  if (first.kind != second.kind) return first.kind <=> second.kind;
  return first.kind == Kind::kNumber ? compareNumbers(first.text, second.text) : first.text <=> second.text;
}

}  // namespace

std::strong_ordering compareVersions(std::string_view first, std::string_view second) {
  while (!first.empty() && !second.empty()) {
    const auto order = comparePieces(takePiece(first), takePiece(second));
    if (order != std::strong_ordering::equal) return order;
  }
  if (first.empty() && second.empty()) return std::strong_ordering::equal;
  const bool goesOnWithWord = kindOf(first.empty() ? second.front() : first.front()) == Kind::kWord;
  return first.empty() == goesOnWithWord ? std::strong_ordering::greater : std::strong_ordering::less;
}

}  // namespace tarvel
