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

constexpr std::string_view kDelimiter = "\r\n";
constexpr std::int64_t kDelimiterLength = kDelimiter.size();
constexpr std::size_t kHeaderRoom = 1 + 20 + kDelimiterLength;  // mark, digits of a 64-bit number, delimiter
constexpr std::size_t kLongest = std::numeric_limits<std::int32_t>::max();
constexpr std::int64_t kShortestElement = 6;  // "$0", delimiter, delimiter

bool isDelimiter(const char* at) {
  return at[0] == kDelimiter[0] && at[1] == kDelimiter[1];
}

// Reads so many digits that they are a 32-bit number for certain, and the delimiter behind them, which is what nearly
// every number is. Result: the bytes consumed, the delimiter included; 0 when it is anything else.
std::int32_t readPlainInteger(const char* data, std::int64_t length, std::int32_t& value) {
  constexpr std::int64_t kMostDigits = 9;
  const std::int64_t most = std::min(length - kDelimiterLength, kMostDigits);
  std::int32_t number = 0;
  std::int32_t digits = 0;
  for (; digits < most && data[digits] >= '0' && data[digits] <= '9'; ++digits) {
    number = 10 * number + (data[digits] - '0');
  }
  if (digits == 0 || !isDelimiter(data + digits)) return 0;
  value = number;
  return digits + static_cast<std::int32_t>(kDelimiterLength);
}

// Reads the decimal text before the next delimiter, whatever it is; kept apart, so that the plain road stays short.
// Results as those of `readInteger`.
[[gnu::noinline]] std::int32_t readAnyInteger(const char* data, std::int64_t length, std::int32_t& value) {
  const std::size_t digits = std::string_view(data, static_cast<std::size_t>(length)).find(kDelimiter);
  if (digits == std::string_view::npos) return -2;
  if (digits == 0) return -3;

  std::int32_t number = 0;
  if (xstring(data, digits).toInt32(number, 10, true) != 0) return -4;
  if (number < -1) return -5;

  value = number;
  return static_cast<std::int32_t>(digits) + static_cast<std::int32_t>(kDelimiterLength);
}

// Result: the bytes consumed, the delimiter included, or
//   -1 bad input   -2 no delimiter   -3 no digits   -4 not a 32-bit number   -5 below -1
std::int32_t readInteger(const char* data, std::int64_t length, std::int32_t& value) {
  if (data == nullptr || length < 0) return -1;
  const std::int32_t consumed = readPlainInteger(data, length, value);
  return consumed > 0 ? consumed : readAnyInteger(data, length, value);
}

// Both write at `at` and return where they ended.
char* put(char* at, std::string_view bytes) {
  return std::copy(bytes.begin(), bytes.end(), at);
}

char* putHeader(char* at, char mark, std::size_t number) {
  *at = mark;
  return put(std::to_chars(at + 1, at + kHeaderRoom - kDelimiterLength, number).ptr, kDelimiter);
}

}  // namespace

std::int32_t CVelixMessage::dump(std::string& out) const {
  std::size_t room = empty() ? 0 : kHeaderRoom;
  for (const std::string& element : *this) room += kHeaderRoom + element.size() + kDelimiter.size();
  if (room > kLongest) return -1;
  out.resize(room);
  if (empty()) return 0;

  char* at = putHeader(out.data(), '*', size());
  for (const std::string& element : *this) {
    at = putHeader(at, '$', element.size());
    at = put(at, element);
    at = put(at, kDelimiter);
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
  const std::int32_t countLength = readInteger(data + 1, length - 1, count);
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
    const std::int32_t lengthLength = readInteger(data + position + 1, end - position - 1, elementLength);
    if (lengthLength < 0) return -4;

    const std::int64_t start = position + 1 + lengthLength;
    const std::int64_t stop = start + elementLength;
    if (stop + kDelimiterLength > end) return -5;

    // For a length of -1 this looks at the byte before the element and so refuses it: null elements are not received.
    if (!isDelimiter(data + stop)) return -6;

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
