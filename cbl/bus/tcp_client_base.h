#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "cbl/bus/receive_thread.h"
#include "cbl/net/descriptor.h"

namespace cbl {

/// A byte-stream client over a Unix-domain path or, after `setTcpAddress`, an IPv4 address and port; optionally with a
/// receive thread (auto receive) that hands every chunk to a callback.
///
/// Every operation may be called from any thread, and `close` ends what another thread waits for. What takes several
/// steps is not one whole: the owner serialises its sends, whose bytes would interleave, and whatever connects or
/// starts auto receive, where the later of two at once takes the place of the earlier. Time-outs are milliseconds; 0 or
/// less selects the object's own. Never raises SIGPIPE. Callbacks are destroyed without a lock held.
class CTcpClientBase {
 public:
  CTcpClientBase();
  /// Closes, and waits without limit for a receive thread that is still inside its callback.
  virtual ~CTcpClientBase();

  CTcpClientBase(const CTcpClientBase&) = delete;
  CTcpClientBase& operator=(const CTcpClientBase&) = delete;

  /// 0 or less: 6000, which is also the start value. Result: 0.
  std::int32_t setConnectTimeout(std::int32_t ms);
  /// 0 or less: 6000, although the start value is 3000. Result: 0.
  std::int32_t setIoTimeout(std::int32_t ms);

  /// A new address or path closes the connection; the same one keeps it.
  /// Result: 0; -1 empty host, or a port above 65535.
  std::int32_t setTcpAddress(const std::string& host, std::int32_t port);
  /// Result: 0; -1 empty path.
  std::int32_t setUnixPath(const std::string& path);

  /// Closes, then connects anew. `interfaceName` ties a TCP connection to a network interface; empty for none.
  /// Result: 0; -1 Unix connect failed, or no TCP socket; -2 TCP connect failed; -127 neither path nor address is set.
  std::int32_t connect(std::int32_t timeoutMs, const std::string& interfaceName);
  /// Stops auto receive (at most 3000 ms) and closes the connection. Result: 0.
  std::int32_t close();
  /// `close`, then waits without limit for a receive thread that is still inside its callback: afterwards no callback
  /// runs, unless this is called from the callback itself.
  void closeAndJoin();

  bool isConnected() const;
  bool isAutoRecv() const;
  /// Also true while a thread that `close` could not wait for is still inside its callback.
  bool isReceiveThreadAlive() const;

  /// Result: bytes received; 0 time-out, signal, or end of stream (the connection is then closed); or
  ///   -1 not connected, no buffer or no length   -2 a receive thread owns the input   -3 the wait failed
  ///   -4 the receive failed
  std::int32_t recv(char* buffer, std::int32_t length, std::int32_t timeoutMs);

  /// Connects first when not connected. The time-out covers the wait for room only: once sending has begun, the call
  /// lasts until the peer has taken everything or the connection fails.
  /// Result: `length`; 0 time-out, nothing sent; or
  ///   -1 no data   -2 connect failed   -3 the wait failed   -4 the send failed (the connection is then closed)
  std::int32_t send(const char* data, std::int32_t length, std::int32_t timeoutMs);
  /// The same without asking for room first, which saves a system call: for a caller that has the answer to everything
  /// it sent, so that the peer has read it all. A wait comes only when there is no room after all.
  std::int32_t sendToIdlePeer(const char* data, std::int32_t length, std::int32_t timeoutMs);

  /// Turns auto receive on (connecting first when need be; a running one is replaced) or off.
  /// Result: 0; -1 no callback; -2 connect failed; -3 the running thread does not stop; -4 the new one does not start.
  std::int32_t enableAutoRecv(bool on, const ReceiveCallback& callback);

  /// Starts a receive thread on the open connection, stopping a running one. When the peer closes, it waits 3000 ms for
  /// a stop, connects the socket once anew and ends: the owner must turn auto receive on again. Result: 0; -1 no pipe,
  /// or not connected; -127 the thread does not start, or an earlier one is still inside its callback, within 3000 ms;
  /// also when another thread closes the connection meanwhile.
  std::int32_t startAutoRecv(const ReceiveCallback& callback);
  /// Result: 0, also when none runs; -1 the wake-up failed; -2 the thread has not ended within 3000 ms (it stays as it
  /// is; so it is for a callback that stops its own thread).
  std::int32_t stopAutoRecv();

 private:
  using Socket = std::shared_ptr<CDescriptor>;

  std::int32_t openConnection(std::int32_t timeoutMs, const std::string& interfaceName, Socket& opened) const;
  std::int32_t sendOn(const char* data, std::int32_t length, std::int32_t timeoutMs, bool hasRoom);
  std::int32_t waitWritable(const CDescriptor& socket, std::int32_t timeoutMs) const;
  void closeFailed(const Socket& failed);
  void dropSocket();
  void reconnectAfterPeerClose(CReceiveLoop& loop);
  Socket currentSocket() const;

  std::atomic<std::int32_t> connectTimeoutMs_;
  std::atomic<std::int32_t> ioTimeoutMs_;

  mutable std::mutex mutex_;  // guards what follows; never held while waiting
  Socket socket_;
  std::uint64_t closings_ = 0;  // tells whether a connection that is being made is still wanted
  bool tcpMode_ = false;
  std::string host_;
  std::int32_t port_ = -1;
  std::string unixPath_;

  CReceiveThread receiver_;  // last: its thread uses the others
};

}  // namespace cbl
