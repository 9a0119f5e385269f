#include "plant/text_encoding.h"

#include <iconv.h>

#include <algorithm>
#include <array>
#include <cerrno>

namespace plant {

namespace {

struct Mark {
  std::string_view bytes;
  const char* charset;
};

constexpr std::array<Mark, 3> kMarks = {
    {{"\xEF\xBB\xBF", "UTF-8"}, {"\xFF\xFE", "UTF-16LE"}, {"\xFE\xFF", "UTF-16BE"}}};

class CConverter {
 public:
  explicit CConverter(const char* charset) : handle_(iconv_open("UTF-8", charset)) {}
  ~CConverter() {
    if (isOpen()) iconv_close(handle_);
  }
  CConverter(const CConverter&) = delete;
  CConverter& operator=(const CConverter&) = delete;

  bool isOpen() const {
    return handle_ != reinterpret_cast<iconv_t>(-1);  // NOLINT(performance-no-int-to-ptr): as iconv_open says it
  }

  std::optional<std::string> convert(std::string_view text) {
    std::string converted;
    std::array<char, 4096> part;
    char* from = const_cast<char*>(text.data());  // the interface's; nothing is written there
    std::size_t left = text.size();
    while (left > 0) {
      char* to = part.data();
      std::size_t room = part.size();
      const std::size_t result = iconv(handle_, &from, &left, &to, &room);
      converted.append(part.data(), part.size() - room);
      if (result == static_cast<std::size_t>(-1) && errno != E2BIG) return std::nullopt;
    }
    return converted;
  }

 private:
  iconv_t handle_;
};

// Latin-1 needs no table that the system might lack.
std::string fromLatin1(std::string_view text) {
  std::string converted;
  for (const char byte : text) {
    const auto code = static_cast<unsigned char>(byte);
    if (code < 0x80) {
      converted += byte;
      continue;
    }
    converted += static_cast<char>(0xC0 | (code >> 6));
    converted += static_cast<char>(0x80 | (code & 0x3F));
  }
  return converted;
}

// Text of Western languages has a zero byte in nearly every character of UTF-16, and none in any other encoding.
const char* markless16(std::string_view bytes) {
  const std::size_t looked = std::min<std::size_t>(bytes.size(), 256) & ~std::size_t{1};
  std::array<std::size_t, 2> zeros{};
  for (std::size_t i = 0; i < looked; ++i) zeros[i % 2] += bytes[i] == '\0' ? 1 : 0;
  if (looked < 4) return nullptr;
  if (zeros[1] > looked / 4 && zeros[0] == 0) return "UTF-16LE";
  if (zeros[0] > looked / 4 && zeros[1] == 0) return "UTF-16BE";
  return nullptr;
}

}  // namespace

std::optional<std::string> toUtf8(std::string_view text, const char* charset) {
  CConverter converter(charset);
  return converter.isOpen() ? converter.convert(text) : std::nullopt;
}

std::string decoded(std::string_view bytes) {
  for (const Mark& mark : kMarks) {
    if (bytes.substr(0, mark.bytes.size()) != mark.bytes) continue;
    bytes.remove_prefix(mark.bytes.size());
    if (const auto text = toUtf8(bytes, mark.charset)) return *text;
    return fromLatin1(bytes);
  }
  const char* const wide = markless16(bytes);
  for (const char* charset : {wide ? wide : "UTF-8", "CP1252"}) {
    if (const auto text = toUtf8(bytes, charset)) return *text;
  }
  return fromLatin1(bytes);
}

}  // namespace plant
