#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "cbl/bus/bus_protocol.h"
#include "cbl/bus/receive_buffer.h"
#include "cbl/bus/tcp_client_unix.h"
#include "cbl/bus/velix_message.h"

namespace cbl {

/// Receives one message on the receive thread, with its frame's identifier and time stamp (microseconds since 1970).
/// Must not throw or destroy the client; the result is ignored.
using MessageCallback =
    std::function<std::int32_t(const CVelixMessage& message, std::int32_t identifier, std::int64_t timestamp)>;

/// Exchanges messages as frames over a Unix-domain socket. Bytes that form no valid frame stay in the receive buffer,
/// across calls and reconnections: one damaged or half-received frame makes every later `recv` fail until the object is
/// replaced. Not thread-safe: the owner serialises its calls.
class CVelixCommuClient {
 public:
  CVelixCommuClient();
  /// Waits without limit for a receive thread that is still inside its callback.
  virtual ~CVelixCommuClient();

  CVelixCommuClient(const CVelixCommuClient&) = delete;
  CVelixCommuClient& operator=(const CVelixCommuClient&) = delete;

  /// Closes a connection to another path. Result: 0; -1 empty path.
  std::int32_t setPath(const std::string& path);
  /// Result: 0 or negative.
  std::int32_t connect(std::int32_t timeoutMs);
  /// Result: 0.
  std::int32_t close();

  /// Connects first when not connected (at most 6000 ms). Waits at most 3000 ms for the peer to take the first byte;
  /// that the peer did not is NOT reported.
  /// Result: 0; -1 connect failed; -2 the frame cannot be made; -101 to -104 the socket's send failed, its code
  /// minus 100.
  std::int32_t send(const CVelixMessage& message, std::int32_t identifier);

  /// Waits for one frame of type 0 or 1, with at most 3 reads of at most 3000 ms and 4096 bytes each; other types are
  /// skipped with two lines on standard output. `message` keeps its elements unless the result is 0.
  /// Result: 0; -1 connect failed; -2 a receive thread runs; -3 the body does not load (a line on standard output);
  /// -4 no frame after 3 reads; -5 the socket's receive failed; -6 time-out, end of stream, or no room for the bytes.
  std::int32_t recv(CVelixMessage& message, std::int32_t& identifier, std::int64_t& timestamp);

  /// Hands every message that arrives to `callback` from a receive thread. The result is the stream client's.
  std::int32_t enableAutoRecv(bool on, const MessageCallback& callback);

 private:
  bool takeFrame(BusFrameInfo& frame);
  std::int32_t receiveBytes(const char* bytes, std::int32_t length, const MessageCallback& callback);

  CBusProtocol protocol_;
  CTcpClientUnix socket_;
  CReceiveBuffer buffer_;
  bool peerIsIdle_ = false;  // a whole message has come since the last request, which it has read then
};

}  // namespace cbl
