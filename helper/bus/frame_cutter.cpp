#include "helper/bus/frame_cutter.h"

#include <algorithm>
#include <cstdint>

#include "cbl/bus/big_endian.h"
#include "cbl/bus/frame_layout.h"

namespace helper {

namespace {

namespace frame = cbl::frame;

// Where the magic begins, or where its first bytes stand at the very end, or the end.
std::size_t findMagic(std::string_view bytes) {
  const std::size_t found = bytes.find(frame::kMagic);
  if (found != std::string_view::npos) return found;
  for (std::size_t part = std::min(frame::kMagic.size() - 1, bytes.size()); part > 0; --part) {
    if (bytes.substr(bytes.size() - part) == frame::kMagic.substr(0, part)) return bytes.size() - part;
  }
  return bytes.size();
}

}  // namespace

void CFrameCutter::append(const char* data, std::size_t length) {
  bytes_.erase(0, start_);
  start_ = 0;
  bytes_.append(data, length);
}

CFrameCutter::Cut CFrameCutter::next(std::string_view& cut) {
  start_ += findMagic(std::string_view(bytes_).substr(start_));
  const std::string_view rest = std::string_view(bytes_).substr(start_);
  if (rest.size() > frame::kVersionAt && rest[frame::kVersionAt] != frame::kVersion) return Cut::kRefused;
  if (rest.size() < frame::kBodyAt) return Cut::kMore;

  const std::size_t length = cbl::loadBigEndian<std::uint32_t>(rest.data() + frame::kBodyLengthAt);
  if (length > frame::kLongestRequestBody) return Cut::kRefused;
  const std::size_t whole = frame::kOverhead + length;
  if (rest.size() < whole) return Cut::kMore;

  cut = rest.substr(0, whole);
  start_ += whole;
  return Cut::kFrame;
}

}  // namespace helper
