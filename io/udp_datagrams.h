#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "io/datagrams.h"
#include "io/event_loop.h"

namespace io {

struct UdpOptions {
  Address local;                ///< ip: kAnyIp, an own address, or a broadcast address to hear its broadcasts only
  bool isShared = false;        ///< other sockets of the port may be there, those of other processes too
  std::optional<Address> peer;  ///< connected: only what comes from here is received, and no broadcast
};

/// A UDP socket on an event loop. Reads one datagram a turn, so that others get theirs; one of more than 2048 bytes is
/// dropped. May send broadcasts. A connected one goes on from the address that this machine gets in place of the one
/// that it had.
class CUdpDatagrams : public CDatagrams {
 public:
  static constexpr std::size_t kLongest = 2048;

  /// Throws std::system_error with the failing step; its code is EADDRINUSE when the port is taken by a socket that
  /// does not share it. `loop` outlives the socket.
  CUdpDatagrams(CEventLoop& loop, const UdpOptions& options);
  ~CUdpDatagrams() override;
  CUdpDatagrams(const CUdpDatagrams&) = delete;
  CUdpDatagrams& operator=(const CUdpDatagrams&) = delete;

  void send(const Address& to, std::string_view bytes) override;
  void onReceive(ReceiveHandler handler) override {
    receiveHandler_ = std::make_shared<const ReceiveHandler>(std::move(handler));
  }
  void onRefused(RefusedHandler handler) override { refusedHandler_ = std::move(handler); }
  Address local() const override { return local_; }

 private:
  void open(const UdpOptions& options);
  bool connectTo(const Address& peer) const;
  bool readLocal();
  bool followOwnAddress();
  bool trySend(const Address& to, std::string_view bytes) const;
  void set(int level, int option, const char* step) const;
  void onEvents(std::uint32_t events);
  void receive();
  void readErrors();

  CEventLoop& loop_;
  int socket_;
  std::optional<Address> peer_;
  Address local_;
  std::shared_ptr<const ReceiveHandler> receiveHandler_ = std::make_shared<const ReceiveHandler>();
  RefusedHandler refusedHandler_;
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);  // a handler may destroy the socket
};

}  // namespace io
