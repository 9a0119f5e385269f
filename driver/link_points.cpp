#include <algorithm>
#include <charconv>
#include <string_view>

#include "driver/bacnet_link.h"

namespace driver {

namespace {

constexpr std::size_t kFirstValueAt = 2;  // one text per point from here on
constexpr char kWordSeparator = ',';

// Signed fields travel as the unsigned numbers of the same bits.
std::string unsignedText(std::int32_t number) {
  return std::to_string(static_cast<std::uint32_t>(number));
}

void appendPoint(cbl::CVelixMessage& request, PointAccess point) {
  request.push_back(unsignedText(point.regId));
  request.push_back(unsignedText(point.dataSize));
}

// The words as one text; a point without words is written as a single zero.
std::string joinWords(const std::vector<short>& words) {
  if (words.empty()) return "0";
  std::string text = std::to_string(words.front());
  for (std::size_t i = 1; i < words.size(); ++i) {
    text += kWordSeparator;
    text += std::to_string(words[i]);
  }
  return text;
}

// What std::stoi reads, and throws. Numbers as helpers write them need no string of their own for it.
std::int32_t toNumber(std::string_view text) {
  std::int32_t number = 0;
  if (std::from_chars(text.data(), text.data() + text.size(), number).ec == std::errc()) return number;
  return std::stoi(std::string(text));
}

// Appends the low 16 bits of every number; empty pieces are passed over.
void appendWords(std::string_view text, std::vector<short>& words) {
  std::size_t at = 0;
  while (at < text.size()) {
    const std::size_t end = std::min(text.find(kWordSeparator, at), text.size());
    if (end > at) words.push_back(static_cast<short>(toNumber(text.substr(at, end - at))));
    at = end + 1;
  }
}

}  // namespace

std::int32_t CBACnetLink::callForCode(const cbl::CVelixMessage& request, cbl::CVelixMessage& reply) {
  if (!client.call(request, reply) || reply.size() <= kReplyCodeAt) return -1;
  return toNumber(reply[kReplyCodeAt]);
}

std::int32_t CBACnetLink::readPoint(PointAccess point, std::vector<short>& words) {
  cbl::CVelixMessage request;
  request.reserve(3);
  request.emplace_back("func@bac_read");
  appendPoint(request, point);

  cbl::CVelixMessage reply;
  const std::int32_t code = callForCode(request, reply);
  if (code != 0) return code;
  if (reply.size() > kFirstValueAt) appendWords(reply[kFirstValueAt], words);
  return 0;
}

std::int32_t CBACnetLink::readPoints(const std::vector<PointAccess>& points,
                                     const std::vector<std::vector<short>*>& values) {
  cbl::CVelixMessage request;
  request.reserve(2 + 2 * points.size());
  request.emplace_back("func@bac_multi_read");
  request.push_back(std::to_string(points.size()));
  for (const PointAccess point : points) appendPoint(request, point);

  cbl::CVelixMessage reply;
  const std::int32_t code = callForCode(request, reply);
  if (code != 0) return code;
  for (std::size_t i = 0; i < values.size() && kFirstValueAt + i < reply.size(); ++i) {
    appendWords(reply[kFirstValueAt + i], *values[i]);
  }
  return 0;
}

std::int32_t CBACnetLink::writePoint(PointAccess point, const std::vector<short>& words) {
  cbl::CVelixMessage request;
  request.push_back("func@bac_write");
  appendPoint(request, point);
  for (const short word : words) request.push_back(std::to_string(word));

  cbl::CVelixMessage reply;
  return callForCode(request, reply);
}

std::int32_t CBACnetLink::writePoints(const std::vector<PointAccess>& points,
                                      const std::vector<std::vector<short>*>& values) {
  cbl::CVelixMessage request;
  request.push_back("func@bac_multi_write");
  request.push_back(std::to_string(points.size()));
  for (std::size_t i = 0; i < points.size(); ++i) {
    appendPoint(request, points[i]);
    request.push_back(joinWords(*values[i]));
  }

  cbl::CVelixMessage reply;
  return callForCode(request, reply);
}

}  // namespace driver
