#include "io/fake/fake_network.h"

#include <algorithm>
#include <utility>

namespace io {

class CFakeNetwork::CSocket : public CDatagrams {
 public:
  CSocket(CFakeNetwork& network, Address local, std::optional<Address> peer)
      : network_(network), local_(local), peer_(peer), self_(std::make_shared<CSocket*>(this)) {
    network_.sockets_.push_back(self_);
  }
  ~CSocket() override {
    auto& all = network_.sockets_;
    all.erase(std::find(all.begin(), all.end(), self_));
  }
  CSocket(const CSocket&) = delete;
  CSocket& operator=(const CSocket&) = delete;

  void send(const Address& to, std::string_view bytes) override { network_.send({local_, to, std::string(bytes)}); }
  void onReceive(ReceiveHandler handler) override { receiveHandler_ = std::move(handler); }
  void onRefused(RefusedHandler handler) override { refusedHandler_ = std::move(handler); }
  Address local() const override { return local_; }

  bool isConnected() const { return peer_.has_value(); }
  bool takesFrom(const Address& from) const { return !peer_ || *peer_ == from; }
  void receive(const Datagram& datagram) const {
    const ReceiveHandler handler = receiveHandler_;  // lives on when it destroys the socket
    if (handler) handler(datagram.from, datagram.bytes);
  }
  void refuse(const Address& to) const {
    const RefusedHandler handler = refusedHandler_;
    if (handler) handler(to);
  }

 private:
  CFakeNetwork& network_;
  const Address local_;
  const std::optional<Address> peer_;
  const std::shared_ptr<CSocket*> self_;
  ReceiveHandler receiveHandler_;
  RefusedHandler refusedHandler_;
};

CFakeNetwork::CFakeNetwork(CFakeClock& clock) : clock_(clock), broadcastAddresses_{kBroadcastIp} {}

CFakeNetwork::~CFakeNetwork() = default;

std::unique_ptr<CDatagrams> CFakeNetwork::open(Address local, std::optional<Address> peer) {
  if (local.port == 0) local.port = nextPort_++;
  return std::make_unique<CSocket>(*this, local, peer);
}

void CFakeNetwork::addBroadcastAddress(std::uint32_t ip) {
  broadcastAddresses_.push_back(ip);
}

void CFakeNetwork::setWeather(const Weather& weather, std::uint32_t seed) {
  script_ = [weather, random = std::mt19937(seed)](const Datagram& datagram) mutable {
    // Drawn in any case, so that one chance does not shift the others'; the library's distributions differ.
    const auto happens = [&random](double chance) {
      return static_cast<double>(random()) < chance * static_cast<double>(std::mt19937::max());
    };
    constexpr auto kLate = std::chrono::milliseconds(10);
    const bool isLost = happens(weather.lost);
    const bool isDoubled = happens(weather.doubled);
    const bool isLate = happens(weather.reordered);
    const bool isCut = happens(weather.truncated);
    const std::size_t length = random() % (datagram.bytes.size() + 1);

    Fate fate;
    fate.delays.assign(isLost ? 0 : isDoubled ? 2 : 1, weather.delay + (isLate ? kLate : Duration::zero()));
    if (isCut) fate.longest = length;
    return fate;
  };
}

void CFakeNetwork::send(const Datagram& datagram) {
  sent_.push_back(datagram);
  const Fate fate = script_ ? script_(datagram) : Fate();
  for (const Duration delay : fate.delays) {
    launch({datagram.from, datagram.to, datagram.bytes.substr(0, fate.longest)}, delay);
  }
}

void CFakeNetwork::launch(Datagram datagram, Duration delay) {
  const std::uint64_t number = nextFlight_++;
  Flight& flight = flights_[number];
  flight.datagram = std::move(datagram);
  flight.timer = clock_.after(delay, [this, number] {
    const auto landed = flights_.extract(number);
    arrive(landed.mapped().datagram);
  });
}

void CFakeNetwork::arrive(const Datagram& datagram) {
  const auto all = receivers(datagram);
  for (const auto& each : all) {
    if (const auto socket = each.lock()) (*socket)->receive(datagram);
  }
  if (all.empty() && refuses_ && !isBroadcast(datagram.to.ip)) refuse(datagram);
}

void CFakeNetwork::refuse(const Datagram& datagram) {
  const auto sender = std::find_if(sockets_.begin(), sockets_.end(),
                                   [&](const auto& each) { return (*each)->local() == datagram.from; });
  if (sender != sockets_.end()) (*std::shared_ptr(*sender))->refuse(datagram.to);
}

bool CFakeNetwork::isBroadcast(std::uint32_t ip) const {
  return std::find(broadcastAddresses_.begin(), broadcastAddresses_.end(), ip) != broadcastAddresses_.end();
}

// All that hear a broadcast; of a single address the first that is connected to the sender, or else the first.
std::vector<std::weak_ptr<CFakeNetwork::CSocket*>> CFakeNetwork::receivers(const Datagram& datagram) const {
  std::vector<std::weak_ptr<CSocket*>> found;
  const Address& to = datagram.to;
  if (isBroadcast(to.ip)) {
    for (const auto& each : sockets_) {
      const Address local = (*each)->local();
      const bool hears = local.port == to.port && (!isBroadcast(local.ip) || local.ip == to.ip);
      if (hears && !(*each)->isConnected() && local != datagram.from) found.push_back(each);
    }
    return found;
  }
  std::shared_ptr<CSocket*> best;
  for (const auto& each : sockets_) {
    const CSocket& socket = **each;
    if (socket.local() != to || !socket.takesFrom(datagram.from)) continue;
    if (!best || (socket.isConnected() && !(*best)->isConnected())) best = each;
  }
  if (best) found.emplace_back(best);
  return found;
}

}  // namespace io
