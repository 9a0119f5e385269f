#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "io/datagrams.h"
#include "io/fake/fake_clock.h"

namespace io {

/// A network in memory: everything sent arrives on the clock's time, bent as told, the same way in every run.
/// Broadcasts (255.255.255.255 and what was named as one) reach every socket of their port but the sender's own and
/// connected ones. The clock outlives the network, and the network its sockets.
class CFakeNetwork {
 public:
  struct Datagram {
    Address from;
    Address to;
    std::string bytes;
  };

  /// What becomes of one datagram: one copy for each delay, cut to `longest`. No delay at all: it is lost.
  struct Fate {
    std::vector<Duration> delays = {std::chrono::milliseconds(1)};
    std::size_t longest = std::string::npos;
  };
  /// Called once for each datagram sent, in order.
  using Script = std::function<Fate(const Datagram& datagram)>;

  /// Chances from 0 to 1, for each datagram by itself. One that is reordered comes 10 ms after its time.
  struct Weather {
    double lost = 0;
    double doubled = 0;
    double reordered = 0;
    double truncated = 0;
    Duration delay = std::chrono::milliseconds(1);
  };

  explicit CFakeNetwork(CFakeClock& clock);
  ~CFakeNetwork();
  CFakeNetwork(const CFakeNetwork&) = delete;
  CFakeNetwork& operator=(const CFakeNetwork&) = delete;

  /// A socket of `local`; with a `peer` it receives from there only, and goes before others of its address. Port 0
  /// takes a free one. What has its ip in a broadcast address hears that one's broadcasts only.
  std::unique_ptr<CDatagrams> open(Address local, std::optional<Address> peer = std::nullopt);

  void addBroadcastAddress(std::uint32_t ip);
  void setScript(Script script) { script_ = std::move(script); }
  void setWeather(const Weather& weather, std::uint32_t seed);
  /// A sender hears, as from a kernel, that nobody listens at an address. Off to begin with.
  void setRefuses(bool refuses) { refuses_ = refuses; }

  /// Everything that was sent, whatever became of it.
  const std::vector<Datagram>& sent() const { return sent_; }
  void forget() { sent_.clear(); }

 private:
  class CSocket;
  struct Flight {
    Datagram datagram;
    CTimer timer;
  };

  void send(const Datagram& datagram);
  void launch(Datagram datagram, Duration delay);
  void arrive(const Datagram& datagram);
  void refuse(const Datagram& datagram);
  bool isBroadcast(std::uint32_t ip) const;
  std::vector<std::weak_ptr<CSocket*>> receivers(const Datagram& datagram) const;

  CFakeClock& clock_;
  Script script_;
  bool refuses_ = false;
  std::vector<std::uint32_t> broadcastAddresses_;
  std::vector<Datagram> sent_;
  std::vector<std::shared_ptr<CSocket*>> sockets_;  // in the order of their opening; empty pointers never
  std::map<std::uint64_t, Flight> flights_;
  std::uint64_t nextFlight_ = 0;
  std::uint16_t nextPort_ = 49152;
};

}  // namespace io
