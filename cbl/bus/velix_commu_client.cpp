#include "cbl/bus/velix_commu_client.h"

#include <cstdio>
#include <utility>

#include "cbl/bus/frame_layout.h"

namespace cbl {

namespace {

constexpr std::int32_t kSendShift = 100;  // keeps a failed socket send visible behind the message's send

bool loadBody(const BusFrameInfo& frame, CVelixMessage& message) {
  if (message.load(frame.body) < 0) {
    std::puts("velix client load velix message error");
    return false;
  }
  message.setType(frame.type);
  return true;
}

}  // namespace

CVelixCommuClient::CVelixCommuClient() = default;

CVelixCommuClient::~CVelixCommuClient() {
  socket_.closeAndJoin();
}

std::int32_t CVelixCommuClient::setPath(const std::string& path) {
  return socket_.setUnixPath(path);
}

std::int32_t CVelixCommuClient::connect(std::int32_t timeoutMs) {
  return socket_.connect(timeoutMs, "");
}

std::int32_t CVelixCommuClient::close() {
  return socket_.close();
}

std::int32_t CVelixCommuClient::send(const CVelixMessage& message, std::int32_t identifier) {
  if (!socket_.isConnected() && connect(-1) != 0) return -1;

  std::string frame;
  const std::int32_t length = protocol_.pack(message, frame, identifier);
  if (length < 0) return -2;

  // A time-out with nothing sent gives 0 like success: the missing reply is what the caller notices.
  const std::int32_t sent = std::exchange(peerIsIdle_, false) ? socket_.sendToIdlePeer(frame.data(), length, -1)
                                                              : socket_.send(frame.data(), length, -1);
  return sent < 0 ? sent - kSendShift : 0;
}

std::int32_t CVelixCommuClient::recv(CVelixMessage& message, std::int32_t& identifier, std::int64_t& timestamp) {
  if (!socket_.isConnected() && connect(-1) != 0) return -1;
  if (socket_.isReceiveThreadAlive()) return -2;

  BusFrameInfo frame;
  for (int reads = 0;;) {
    if (!takeFrame(frame)) {
      if (reads == frame::kMostReads) return -4;
      char bytes[frame::kReadSize];
      const std::int32_t received = socket_.recv(bytes, sizeof(bytes), -1);
      if (received < 0) return -5;
      if (buffer_.append(bytes, received) < received || received == 0) return -6;
      ++reads;
      continue;
    }
    if (frame.type > frame::kLastMessageType) {
      std::puts("not VelixMessage_std message");
      std::puts("not VelixMessage message");
      continue;
    }
    if (!loadBody(frame, message)) return -3;
    peerIsIdle_ = true;
    identifier = static_cast<std::int32_t>(frame.identifier);
    timestamp = static_cast<std::int64_t>(frame.timestamp);
    return 0;
  }
}

std::int32_t CVelixCommuClient::enableAutoRecv(bool on, const MessageCallback& callback) {
  if (on && !callback) return -1;
  if (!on) return socket_.enableAutoRecv(false, nullptr);
  return socket_.enableAutoRecv(
      true, [this, callback](const char* bytes, std::int32_t length) { return receiveBytes(bytes, length, callback); });
}

// Takes the frame that ends where the buffer ends, with whatever stands before it. Result: whether there was one.
bool CVelixCommuClient::takeFrame(BusFrameInfo& frame) {
  std::int32_t consumed = 0;
  try {
    consumed = protocol_.findAndUnpack(buffer_.data(), static_cast<std::int32_t>(buffer_.size()), frame);
  } catch (...) {
    // Memory is taken only for a whole frame. Left here it would be the answer to the next request.
    buffer_.removeFront(buffer_.size());
    throw;
  }
  if (consumed <= 0) return false;
  buffer_.removeFront(static_cast<std::uint32_t>(consumed));
  return true;
}

// On the receive thread. Result: 0; -1 no room for the bytes, which are lost; -2 a body does not load.
std::int32_t CVelixCommuClient::receiveBytes(const char* bytes, std::int32_t length, const MessageCallback& callback) {
  if (buffer_.append(bytes, length) < 0) return -1;

  BusFrameInfo frame;
  while (takeFrame(frame)) {
    if (frame.type > frame::kLastMessageType) {
      std::puts("not VelixMessage message");
      continue;
    }
    CVelixMessage message;
    if (!loadBody(frame, message)) return -2;
    callback(message, static_cast<std::int32_t>(frame.identifier), static_cast<std::int64_t>(frame.timestamp));
  }
  return 0;
}

}  // namespace cbl
