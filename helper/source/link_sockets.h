#pragma once

#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "helper/process/file_lock.h"
#include "io/datagrams.h"
#include "io/udp_datagrams.h"

namespace helper {

/// One link's share of a UDP port that many helpers, and perhaps a BACnet server, use at once: a connected socket for
/// each peer, so that the kernel hands everybody what is theirs; one for each broadcast address, to hear I-Am; and one
/// of a port of its own to search from. Seen from outside it is one socket that hears all of it.
class CLinkSockets : public io::CDatagrams {
 public:
  using Opener =
      std::function<std::unique_ptr<io::CDatagrams>(const io::UdpOptions& options)>;  // throws std::system_error
  using Remark = std::function<void(const std::string& line)>;

  struct Options {
    std::uint16_t port = 0;
    std::uint16_t broadcastPort = 0;         ///< where devices send I-Am to: their own port
    bool hasOwnPort = false;                 ///< one unconnected socket of a free port for everything
    std::optional<std::uint32_t> broadcast;  ///< the only broadcast address; none: that of each interface
    std::string lockDirectory;
  };

  /// Opens what does not depend on a peer; throws std::system_error when that fails. `remark` takes a line where the
  /// port has to be left to somebody else.
  CLinkSockets(Options options, Opener opener, Remark remark);

  /// Opens the peer's socket now, so that a failure shows; throws std::system_error.
  void open(const io::Address& peer);

  /// To 255.255.255.255: to every interface's broadcast address, from the port that searches.
  void send(const io::Address& to, std::string_view bytes) override;
  void onReceive(ReceiveHandler handler) override;
  void onRefused(RefusedHandler handler) override;
  io::Address local() const override { return search_->local(); }

 private:
  struct Peer {
    io::Address address;
    std::unique_ptr<CFileLock> lock;  // of the shared port for this peer; null where another port is used
    std::unique_ptr<io::CDatagrams> socket;
  };

  std::vector<std::uint32_t> broadcastAddresses() const;
  void listen();
  void adopt(io::CDatagrams& socket);
  Peer openPeer(const io::Address& address);
  io::CDatagrams& socketFor(const io::Address& peer);

  Options options_;
  Opener opener_;
  Remark remark_;
  ReceiveHandler receiveHandler_;
  RefusedHandler refusedHandler_;
  std::unique_ptr<io::CDatagrams> search_;
  std::map<std::uint32_t, std::unique_ptr<io::CDatagrams>> listeners_;  // by broadcast address; null where it is taken
  std::optional<io::Address> unreachable_;                              // the last one that was told of
  std::list<Peer> peers_;                                               // the one used last in front
};

}  // namespace helper
