#include "cbl/bus/velix_message.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <limits>
#include <string_view>
#include <utility>

#include "cbl/text/xstring.h"

namespace cbl {

namespace {

constexpr std::int64_t kDelimiterLength = 2;
constexpr std::size_t kHeaderRoom = 1 + 20 + kDelimiterLength;  // mark, digits of a 64-bit number, delimiter
constexpr std::size_t kLongest = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kShortestElement = 6;  // "$0", delimiter, delimiter

// Reads the decimal text before the next delimiter. Result: the bytes consumed, the delimiter included, or
//   -1 bad input   -2 no delimiter   -3 no digits   -4 not a 32-bit number   -5 below -1
std::int32_t readInteger(const char* data, std::int64_t length, std::string_view delimiter, std::int32_t& value) {
  if (data == nullptr || length < 0) return -1;

  // Nearly every number is plain; what else is allowed, or wrong, is told apart below.
  std::int32_t number = 0;
  const auto [stop, failure] = std::from_chars(data, data + length, number);
  const std::string_view rest(stop, static_cast<std::size_t>(data + length - stop));
  if (failure == std::errc() && number >= -1 && rest.substr(0, delimiter.size()) == delimiter) {
    value = number;
    return static_cast<std::int32_t>(stop - data + kDelimiterLength);
  }

  const std::size_t digits = std::string_view(data, static_cast<std::size_t>(length)).find(delimiter);
  if (digits == std::string_view::npos) return -2;
  if (digits == 0) return -3;

  if (xstring(data, digits).toInt32(number, 10, true) != 0) return -4;
  if (number < -1) return -5;

  value = number;
  return static_cast<std::int32_t>(digits) + static_cast<std::int32_t>(kDelimiterLength);
}

// Both write at `at` and return where they ended.
char* put(char* at, std::string_view bytes) {
  return std::copy(bytes.begin(), bytes.end(), at);
}

char* putHeader(char* at, char mark, std::size_t number, std::string_view delimiter) {
  *at = mark;
  return put(std::to_chars(at + 1, at + kHeaderRoom - kDelimiterLength, number).ptr, delimiter);
}

}  // namespace

CVelixMessage::CVelixMessage() : delimiter_("\r\n") {}

std::int32_t CVelixMessage::dump(std::string& out) const {
  std::size_t room = empty() ? 0 : kHeaderRoom;
  for (const std::string& element : *this) room += kHeaderRoom + element.size() + delimiter_.size();
  if (room > kLongest) return -1;
  out.resize(room);
  if (empty()) return 0;

  char* at = putHeader(out.data(), '*', size(), delimiter_);
  for (const std::string& element : *this) {
    at = putHeader(at, '$', element.size(), delimiter_);
    at = put(at, element);
    at = put(at, delimiter_);
  }
  out.resize(static_cast<std::size_t>(at - out.data()));
  return static_cast<std::int32_t>(out.size());
}

std::int32_t CVelixMessage::load(const std::string& data) {
  if (data.size() > kLongest) return -1;
  return load(data.data(), static_cast<std::int32_t>(data.size()));
}

std::int32_t CVelixMessage::load(const char* data, std::int32_t length) {
  if (data == nullptr || length <= 0 || data[0] != '*') return -1;

  std::int32_t count = 0;
  const std::int32_t countLength = readInteger(data + 1, length - 1, delimiter_, count);
  if (countLength < 0) {
    std::printf("find integer failed: %d\n", countLength);
    return -2;
  }

  // The count and the lengths are claims: memory is taken only for bytes that are there.
  const std::int64_t end = length;
  std::int64_t position = 1 + countLength;
  std::vector<std::string> elements;
  const std::int64_t possible = (end - position) / kShortestElement;
  if (count > 0) elements.reserve(static_cast<std::size_t>(std::min<std::int64_t>(count, possible)));
  for (std::int32_t i = 0; i < count; ++i) {
    if (position >= end || data[position] != '$') return -3;

    std::int32_t elementLength = 0;
    const std::int32_t lengthLength = readInteger(data + position + 1, end - position - 1, delimiter_, elementLength);
    if (lengthLength < 0) return -4;

    const std::int64_t start = position + 1 + lengthLength;
    const std::int64_t stop = start + elementLength;
    if (stop + kDelimiterLength > end) return -5;

    // For a length of -1 this looks at the byte before the element and so refuses it: null elements are not received.
    if (std::string_view(data + stop, kDelimiterLength) != delimiter_) return -6;

    if (elementLength > 0) {
      elements.emplace_back(data + start, static_cast<std::size_t>(elementLength));
    } else {
      elements.emplace_back();
    }
    position = stop + kDelimiterLength;
  }
  if (position != end) return -7;

  std::vector<std::string>::swap(elements);
  return length;
}

}  // namespace cbl
