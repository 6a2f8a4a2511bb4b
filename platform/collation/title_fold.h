#pragma once

#include <string>
#include <string_view>

namespace tarvel {

/// Turns titles into the form in which they are compared: canonically decomposed, with case folded away.
///
/// Two titles with the same fold are the same title to the reader ("Straße" and "STRASSE"). Not thread-safe: it keeps
/// scratch space between calls.
class TitleFold {
 public:
  /// `locale` is an ICU locale name. Turkish and Azerbaijani keep I apart from i: there I folds to dotless ı, and I
  /// with a dot above to i.
  explicit TitleFold(std::string_view locale);

  /// Appends the fold of `title` to `fold`. A lone surrogate stays as it is; other malformed bytes become U+FFFD.
  ///
  /// The iota subscript (U+0345) is kept as the mark it is, except at the very start of a title, where there is no
  /// letter to carry it: folding it everywhere, as full case folding does, would file a polytonic Greek title among
  /// those that spell the iota out.
  void append(std::string_view title, std::u16string& fold);

 private:
  bool turkic_;
  std::u16string decomposed_;
  std::u16string folded_;
};

}  // namespace tarvel
