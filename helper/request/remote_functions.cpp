#include "helper/request/remote_functions.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <string_view>

namespace helper {

namespace {

// The whole text, or nothing.
template <typename Number>
bool readNumber(std::string_view text, Number& number) {
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  return failure == std::errc() && end == text.data() + text.size();
}

bool readPoint(const std::string& regId, const std::string& size, PointAccess& point) {
  return readNumber(regId, point.regId) && readNumber(size, point.size);
}

bool readWords(std::string_view text, plant::Words& words) {
  for (;;) {
    const std::size_t comma = text.find(',');
    short word = 0;
    if (!readNumber(text.substr(0, comma), word)) return false;
    words.push_back(word);
    if (comma == std::string_view::npos) return true;
    text.remove_prefix(comma + 1);
  }
}

bool readLoad(const cbl::CVelixMessage& message, Request& request) {
  if (message.size() != 3) return false;
  request.path = message[1];
  return readNumber(message[2], request.link);
}

bool readConnect(const cbl::CVelixMessage& message, Request& /*request*/) {
  return message.size() == 1;
}

bool readSingleRead(const cbl::CVelixMessage& message, Request& request) {
  request.points.resize(1);
  return message.size() == 3 && readPoint(message[1], message[2], request.points[0]);
}

bool readSingleWrite(const cbl::CVelixMessage& message, Request& request) {
  request.points.resize(1);
  PointAccess& point = request.points[0];
  if (message.size() < 3 || !readPoint(message[1], message[2], point)) return false;
  return std::all_of(message.begin() + 3, message.end(),
                     [&](const std::string& text) { return readNumber(text, point.words.emplace_back()); });
}

// A count, and so many groups of RegId, size and, to be written, words. The count is believed only if they are there.
bool readBatch(const cbl::CVelixMessage& message, Request& request, std::size_t groupSize) {
  std::size_t count = 0;
  if (message.size() < 2 || !readNumber(message[1], count)) return false;
  if (count > kMostPoints || message.size() != 2 + count * groupSize) return false;
  request.points.resize(count);
  for (std::size_t i = 0; i < count; ++i) {
    const std::size_t at = 2 + i * groupSize;
    PointAccess& point = request.points[i];
    if (!readPoint(message[at], message[at + 1], point)) return false;
    if (groupSize == 3 && !readWords(message[at + 2], point.words)) return false;
  }
  return true;
}

bool readMultiRead(const cbl::CVelixMessage& message, Request& request) {
  return readBatch(message, request, 2);
}

bool readMultiWrite(const cbl::CVelixMessage& message, Request& request) {
  return readBatch(message, request, 3);
}

struct RemoteFunction {
  std::string_view name;
  Request::Operation operation;
  bool (*read)(const cbl::CVelixMessage&, Request&);
};

constexpr std::array<RemoteFunction, 6> kRemoteFunctions = {{
    {kLoadFunction, Request::kLoadProject, readLoad},
    {"func@bac_connect", Request::kConnect, readConnect},
    {"func@bac_read", Request::kRead, readSingleRead},
    {"func@bac_multi_read", Request::kRead, readMultiRead},
    {"func@bac_write", Request::kWrite, readSingleWrite},
    {"func@bac_multi_write", Request::kWrite, readMultiWrite},
}};

const RemoteFunction* findFunction(std::string_view name) {
  const auto function = std::find_if(kRemoteFunctions.begin(), kRemoteFunctions.end(),
                                     [&](const RemoteFunction& each) { return each.name == name; });
  return function == kRemoteFunctions.end() ? nullptr : &*function;
}

}  // namespace

bool isRemoteFunction(std::string_view name) {
  return findFunction(name) != nullptr;
}

ResultCode readRequest(const cbl::CVelixMessage& message, Request& request) {
  if (message.empty()) return ResultCode::kMalformedRequest;
  request.function = message[0];
  const RemoteFunction* const function = findFunction(request.function);
  if (function == nullptr) return ResultCode::kUnknownFunction;
  request.operation = function->operation;
  if (function->read(message, request)) return ResultCode::kDone;
  request.points.clear();
  return ResultCode::kMalformedRequest;
}

}  // namespace helper
