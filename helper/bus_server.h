#pragma once

#include <cstdint>
#include <map>
#include <optional>

#include "cbl/bus/bus_protocol.h"
#include "helper/bus_connection.h"
#include "helper/helper_log.h"

namespace helper {

/// Answers the frames that a bus server takes in. Called on the server's thread and expected not to block.
class CFrameHandler {
 public:
  virtual ~CFrameHandler() = default;
  virtual Delivery onFrame(const cbl::BusFrameInfo& frame) = 0;
};

/// Serves any number of clients of one listening stream socket on one thread: whole frames in, deliveries out, each
/// client's in the order of its requests. Knows frames, not what they carry.
class CBusServer {
 public:
  /// `listener` is a non-blocking listening socket, `signals` a signalfd. Both, and the other two, outlive the server.
  CBusServer(int listener, int signals, CFrameHandler& handler, CHelperLog& log);

  /// Serves until a signal or an exit step ends it. Result: the status for the process to exit with.
  int run();

 private:
  struct Client {
    explicit Client(int socket) : connection(socket) {}
    CBusConnection connection;
    std::uint32_t watched = 0;  // the events that epoll waits for
  };
  using Clients = std::map<int, Client>;

  bool watch(int descriptor, int operation, std::uint32_t events);
  void watchListener(bool on);
  int timeout() const;
  void acceptClients();
  void takeIn(CBusConnection& connection, std::uint32_t events);
  void serveClients();
  bool serve(CBusConnection& connection);
  bool answer(CBusConnection& connection, std::string_view bytes);
  bool finish(const Aftermath& aftermath);
  int readSignal();

  int listener_;
  int signals_;
  CFrameHandler& handler_;
  CHelperLog& log_;
  cbl::CDescriptor epoll_;
  cbl::CBusProtocol protocol_;
  Clients clients_;
  bool listens_ = false;
  std::optional<int> exitStatus_;  // set once a step has ended the serving
};

}  // namespace helper
