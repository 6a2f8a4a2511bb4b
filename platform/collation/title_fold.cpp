#include "platform/collation/title_fold.h"

#include <unicode/uchar.h>
#include <unicode/unorm2.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "platform/collation/utf16_text.h"

namespace tarvel {
namespace {

constexpr char16_t kDotAbove = 0x0307;
constexpr char16_t kDotlessI = 0x0131;
constexpr char16_t kIotaSubscript = 0x0345;
constexpr char16_t kIota = 0x03B9;

/// Normalises `text` to NFD. The data are part of the ICU library, so no data file is needed. If ICU fails, the text is
/// unchanged.
void decompose(std::u16string& text) {
  UErrorCode status = U_ZERO_ERROR;
  const UNormalizer2* nfd = unorm2_getNFDInstance(&status);
  if (U_FAILURE(status)) return;
  const auto length = static_cast<std::int32_t>(text.size());
  const std::int32_t done = unorm2_spanQuickCheckYes(nfd, text.data(), length, &status);
  if (U_FAILURE(status) || done == length) return;
  std::u16string result(text.size() + text.size() / 2 + 16, u'\0');
  for (int attempt = 0; attempt < 2; ++attempt) {
    status = U_ZERO_ERROR;
    const std::int32_t needed =
        unorm2_normalize(nfd, text.data(), length, result.data(), static_cast<std::int32_t>(result.size()), &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) return;
    const bool fits = static_cast<std::size_t>(needed) <= result.size();
    result.resize(static_cast<std::size_t>(needed));
    if (fits) {
      text.swap(result);
      return;
    }
  }
}

/// Requires decomposed text, in which a capital I with a dot above is two characters.
void foldTurkicI(std::u16string& text) {
  std::size_t out = 0;
  for (std::size_t i = 0; i < text.size(); ++i, ++out) {
    const bool dotted = text[i] == u'I' && i + 1 < text.size() && text[i + 1] == kDotAbove;
    text[out] = dotted ? u'i' : text[i] == u'I' ? kDotlessI : text[i];
    if (dotted) ++i;
  }
  text.resize(out);
}

void appendCaseFold(std::u16string_view text, std::u16string& folded) {
  const std::size_t start = folded.size();
  std::size_t room = text.size() + 8;
  for (int attempt = 0; attempt < 2; ++attempt) {
    folded.resize(start + room);
    UErrorCode status = U_ZERO_ERROR;
    const std::int32_t needed = u_strFoldCase(folded.data() + start, static_cast<std::int32_t>(room), text.data(),
                                              static_cast<std::int32_t>(text.size()), U_FOLD_CASE_DEFAULT, &status);
    if (status != U_BUFFER_OVERFLOW_ERROR && U_FAILURE(status)) break;
    const bool fits = static_cast<std::size_t>(needed) <= room;
    room = static_cast<std::size_t>(needed);
    if (fits) {
      folded.resize(start + room);
      return;
    }
  }
  folded.resize(start);
  folded.append(text);
}

bool isAscii(std::string_view title) {
  return std::all_of(title.begin(), title.end(), [](char byte) { return static_cast<unsigned char>(byte) < 0x80; });
}

/// The same result as the general way, several times as fast.
void appendAsciiFold(std::string_view title, bool turkic, std::u16string& fold) {
  const std::size_t start = fold.size();
  fold.resize(start + title.size());
  std::transform(title.begin(), title.end(), fold.begin() + static_cast<std::ptrdiff_t>(start), [turkic](char letter) {
    if (turkic && letter == 'I') return kDotlessI;
    return static_cast<char16_t>(letter >= 'A' && letter <= 'Z' ? letter - 'A' + 'a' : letter);
  });
}

}  // namespace

TitleFold::TitleFold(std::string_view locale) {
  const std::string_view language = locale.substr(0, locale.find_first_of("_-@"));
  turkic_ = language == "tr" || language == "az";
}

void TitleFold::append(std::string_view title, std::u16string& fold) {
  if (isAscii(title)) {
    appendAsciiFold(title.substr(0, kMaxTitleUnits), turkic_, fold);
    return;
  }
  decomposed_.clear();
  appendUtf16(title, decomposed_);
  decompose(decomposed_);
  if (turkic_) foldTurkicI(decomposed_);
  if (!decomposed_.empty() && decomposed_[0] == kIotaSubscript) decomposed_[0] = kIota;

  folded_.clear();
  std::u16string_view rest = decomposed_;
  for (std::size_t mark = rest.find(kIotaSubscript); mark != rest.npos; mark = rest.find(kIotaSubscript)) {
    appendCaseFold(rest.substr(0, mark), folded_);
    folded_.push_back(kIotaSubscript);
    rest.remove_prefix(mark + 1);
  }
  appendCaseFold(rest, folded_);
  decompose(folded_);  // folding can leave text that is not decomposed
  fold.append(folded_);
}

}  // namespace tarvel
