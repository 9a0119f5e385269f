#include "bacnet/client/discovery.h"

#include <algorithm>
#include <chrono>
#include <string>
#include <utility>

namespace bacnet {

namespace {

constexpr io::Duration kFirstWait = std::chrono::seconds(10);
constexpr io::Duration kLongestWait = std::chrono::minutes(5);

}  // namespace

CDiscovery::CDiscovery(CNetwork& network, io::CTimers& timers, const DeviceSettings& settings, FoundHandler found)
    : network_(network), timers_(timers), settings_(settings), found_(std::move(found)), router_(settings.router) {}

std::optional<Station> CDiscovery::fixed() const {
  if (settings_.station) return settings_.station;
  if (settings_.router && settings_.remoteMac) {
    return Station{*settings_.router, NetworkAddress{settings_.network, *settings_.remoteMac}};
  }
  return std::nullopt;
}

bool CDiscovery::mayBeAt(const Station& station) const {
  return !fixed() && (!settings_.router || station.address == *settings_.router);
}

bool CDiscovery::needsRouter() const {
  return !settings_.router && settings_.network != kLocalNetwork && settings_.network != kGlobalNetwork;
}

void CDiscovery::search() {
  if (isSearching() || fixed()) return;
  wait_ = kFirstWait;
  ask();
}

void CDiscovery::ask() {
  timer_ = timers_.after(wait_, [this] { ask(); });
  wait_ = std::min(wait_ * 2, kLongestWait);
  if (needsRouter()) network_.askForRouter(settings_.broadcast, settings_.network);
  if (!needsRouter() || router_) askForDevice();
}

void CDiscovery::askForDevice() {
  if (settings_.remoteMac || !settings_.deviceId) return;
  WhoIs whoIs;
  whoIs.range.emplace(*settings_.deviceId, *settings_.deviceId);
  const std::string data = encode(whoIs);
  const UnconfirmedRequest request{UnconfirmedService::kWhoIs, data};
  if (router_) {
    network_.broadcastThrough(*router_, settings_.network, request);
  } else {
    network_.broadcast(settings_.broadcast, settings_.network, request);
  }
}

void CDiscovery::onRouter(const io::Address& router, const std::vector<std::uint16_t>& networks) {
  const bool leadsThere = std::find(networks.begin(), networks.end(), settings_.network) != networks.end();
  // While one leads there, others that do so as well change nothing.
  if (!needsRouter() || !leadsThere || !isSearching()) return;
  if (settings_.remoteMac) {
    found_(Station{router, NetworkAddress{settings_.network, *settings_.remoteMac}});
  } else if (router_ != router) {
    router_ = router;
    askForDevice();
  }
}

}  // namespace bacnet
