#include "platform/plist/named_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace tarvel {

namespace {

struct NamedEncoding {
  std::string_view name;
  const char* converter;  ///< iconv's name; a superset of the encoding where files are known to need it.
};

// US-ASCII is read as Latin-1, so that one accented letter does not make the file unreadable.
constexpr NamedEncoding kEncodings[] = {
    {"us-ascii", "ISO-8859-1"},
    {"ascii", "ISO-8859-1"},
    {"iso-8859-1", "ISO-8859-1"},
    {"latin1", "ISO-8859-1"},
    {"iso-8859-2", "ISO-8859-2"},
    {"iso-8859-3", "ISO-8859-3"},
    {"iso-8859-4", "ISO-8859-4"},
    {"iso-8859-5", "ISO-8859-5"},
    {"iso-8859-6", "ISO-8859-6"},
    {"iso-8859-7", "ISO-8859-7"},
    {"iso-8859-8", "ISO-8859-8"},
    {"iso-8859-9", "ISO-8859-9"},
    {"iso-8859-10", "ISO-8859-10"},
    {"iso-8859-13", "ISO-8859-13"},
    {"iso-8859-14", "ISO-8859-14"},
    {"iso-8859-15", "ISO-8859-15"},
    {"iso-8859-16", "ISO-8859-16"},
    {"windows-1250", "CP1250"},
    {"windows-1251", "CP1251"},
    {"windows-1252", "CP1252"},
    {"windows-1253", "CP1253"},
    {"windows-1254", "CP1254"},
    {"windows-1256", "CP1256"},
    {"windows-1257", "CP1257"},
    {"macintosh", "MACINTOSH"},
    {"koi8-r", "KOI8-R"},
    {"koi8-u", "KOI8-U"},
    {"shift_jis", "CP932"},
    {"euc-jp", "EUC-JP"},
    {"big5", "BIG5"},
    {"gb2312", "GBK"},
    {"gbk", "GBK"},
    {"gb18030", "GB18030"},
    {"euc-kr", "CP949"},
};

const NamedEncoding* find(std::string_view name) {
  const auto* found = std::ranges::find(kEncodings, name, &NamedEncoding::name);
  return found == std::end(kEncodings) ? nullptr : found;
}

class Converter {
 public:
  explicit Converter(const char* encoding) : handle_(iconv_open("UTF-8", encoding)) {}
  ~Converter() {
    if (isOpen()) iconv_close(handle_);
  }
  Converter(const Converter&) = delete;
  Converter& operator=(const Converter&) = delete;

  // iconv_open() returns (iconv_t)-1 on failure.
  [[nodiscard]] bool isOpen() const { return reinterpret_cast<std::intptr_t>(handle_) != -1; }  // NOLINT

  [[nodiscard]] bool convert(std::span<const std::uint8_t> bytes, std::string& text) {
    // iconv() takes a pointer to non-const, but does not modify the input.
    auto* in = const_cast<char*>(reinterpret_cast<const char*>(bytes.data()));  // NOLINT
    std::size_t inLeft = bytes.size();
    std::array<char, 4096> chunk{};
    while (inLeft > 0) {
      char* out = chunk.data();
      std::size_t outLeft = chunk.size();
      const std::size_t result = iconv(handle_, &in, &inLeft, &out, &outLeft);
      const bool isFull = result == static_cast<std::size_t>(-1) && errno == E2BIG;
      text.append(chunk.data(), chunk.size() - outLeft);
      if (result == static_cast<std::size_t>(-1) && !isFull) return false;
    }
    return true;
  }

 private:
  iconv_t handle_;
};

}  // namespace

bool knowsEncoding(std::string_view name) { return find(name) != nullptr; }

bool convertNamed(std::string_view name, std::span<const std::uint8_t> bytes, std::string& text) {
  const NamedEncoding* encoding = find(name);
  if (encoding == nullptr) return false;
  Converter converter(encoding->converter);
  return converter.isOpen() && converter.convert(bytes, text);
}

}  // namespace tarvel
