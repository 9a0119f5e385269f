#include "helper/frame_cutter.h"

#include <algorithm>
#include <cstdint>

namespace helper {

namespace {

constexpr std::string_view kMagicAndVersion("VLX\x01", 4);
constexpr std::size_t kMagicSize = 3;
constexpr std::size_t kBodyLengthAt = 20;
constexpr std::size_t kBodyAt = 24;
constexpr std::size_t kChecksumSize = 4;

// Where the magic begins, or where its first bytes stand at the very end, or the end.
std::size_t findMagic(std::string_view bytes) {
  const std::string_view magic = kMagicAndVersion.substr(0, kMagicSize);
  const std::size_t found = bytes.find(magic);
  if (found != std::string_view::npos) return found;
  for (std::size_t part = std::min(kMagicSize - 1, bytes.size()); part > 0; --part) {
    if (bytes.substr(bytes.size() - part) == magic.substr(0, part)) return bytes.size() - part;
  }
  return bytes.size();
}

std::size_t bodyLength(std::string_view frame) {
  std::uint32_t length = 0;
  for (const char byte : frame.substr(kBodyLengthAt, kBodyAt - kBodyLengthAt)) {
    length = (length << 8) | static_cast<unsigned char>(byte);
  }
  return length;
}

}  // namespace

void CFrameCutter::append(const char* data, std::size_t length) {
  bytes_.erase(0, start_);
  start_ = 0;
  bytes_.append(data, length);
}

CFrameCutter::Cut CFrameCutter::next(std::string_view& frame) {
  start_ += findMagic(std::string_view(bytes_).substr(start_));
  const std::string_view rest = std::string_view(bytes_).substr(start_);
  if (rest.size() > kMagicSize && rest[kMagicSize] != kMagicAndVersion[kMagicSize]) return Cut::kRefused;
  if (rest.size() < kBodyAt) return Cut::kMore;

  const std::size_t length = bodyLength(rest);
  if (length > kLongestBody) return Cut::kRefused;
  const std::size_t whole = kBodyAt + length + kChecksumSize;
  if (rest.size() < whole) return Cut::kMore;

  frame = rest.substr(0, whole);
  start_ += whole;
  return Cut::kFrame;
}

}  // namespace helper
