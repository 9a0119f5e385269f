#include "helper/source/link_sockets.h"

#include <fmt/format.h>

#include <algorithm>
#include <chrono>
#include <system_error>
#include <utility>

#include "io/network_interfaces.h"

namespace helper {

namespace {

constexpr std::size_t kMostPeers = 4;  // the device, its router or BBMD, and where it has been before

}  // namespace

CLinkSockets::CLinkSockets(Options options, Opener opener, Remark remark)
    : options_(std::move(options)), opener_(std::move(opener)), remark_(std::move(remark)) {
  search_ = opener_({{io::kAnyIp, 0}, false, std::nullopt});
  adopt(*search_);
  listen();
}

std::vector<std::uint32_t> CLinkSockets::broadcastAddresses() const {
  if (options_.broadcast) return {*options_.broadcast};
  std::vector<std::uint32_t> addresses;
  for (const io::NetworkInterface& each : io::networkInterfaces()) {
    if (each.broadcast != 0) addresses.push_back(each.broadcast);
  }
  return addresses;
}

// Interfaces, and programs that have the port for themselves, come and go: this is done anew before each broadcast.
void CLinkSockets::listen() {
  std::vector<std::uint32_t> wanted = broadcastAddresses();
  wanted.push_back(io::kBroadcastIp);
  for (auto each = listeners_.begin(); each != listeners_.end();) {
    const bool isWanted = std::find(wanted.begin(), wanted.end(), each->first) != wanted.end();
    each = isWanted ? std::next(each) : listeners_.erase(each);
  }
  for (const std::uint32_t ip : wanted) {
    const auto [listener, isNew] = listeners_.try_emplace(ip);
    if (listener->second) continue;
    try {
      listener->second = opener_({{ip, options_.broadcastPort}, true, std::nullopt});
      adopt(*listener->second);
    } catch (const std::system_error& failure) {
      if (!isNew) continue;  // said already
      remark_(fmt::format("broadcasts to {}:{} cannot be heard: {}", io::ipText(ip), options_.broadcastPort,
                          failure.what()));
    }
  }
}

void CLinkSockets::adopt(io::CDatagrams& socket) {
  socket.onReceive([this](const io::Address& from, std::string_view bytes) {
    if (receiveHandler_) receiveHandler_(from, bytes);
  });
  socket.onRefused([this](const io::Address& to) {
    if (refusedHandler_) refusedHandler_(to);
  });
}

// Two sockets of one port that are connected to one peer would take each other's datagrams: the second one, mostly
// another link's, has to use another port.
CLinkSockets::Peer CLinkSockets::openPeer(const io::Address& address) {
  const std::string path =
      fmt::format("{}/port_{}_{}_{}.lock", options_.lockDirectory, options_.port, io::ipText(address.ip), address.port);
  std::string error;
  Peer peer{address, std::make_unique<CFileLock>(path, std::chrono::milliseconds::zero(), error), nullptr};
  if (!peer.lock->isHeld()) {
    peer.lock.reset();
    remark_(fmt::format("a free port instead of {} for {}: {}", options_.port, io::addressText(address), error));
  } else {
    try {
      peer.socket = opener_({{io::kAnyIp, options_.port}, true, address});
    } catch (const std::system_error& failure) {
      if (failure.code() != std::errc::address_in_use) throw;
      peer.lock.reset();
      remark_(fmt::format("a free port instead of {}: it belongs to a program that does not share it", options_.port));
    }
  }
  if (!peer.socket) peer.socket = opener_({{io::kAnyIp, 0}, false, address});
  adopt(*peer.socket);
  return peer;
}

void CLinkSockets::open(const io::Address& peer) {
  if (!options_.hasOwnPort) peers_.push_front(openPeer(peer));
}

io::CDatagrams& CLinkSockets::socketFor(const io::Address& peer) {
  if (options_.hasOwnPort) return *search_;
  const auto known = std::find_if(peers_.begin(), peers_.end(), [&](const Peer& each) { return each.address == peer; });
  if (known != peers_.end()) {
    peers_.splice(peers_.begin(), peers_, known);
    return *peers_.front().socket;
  }
  try {
    open(peer);
  } catch (const std::system_error& failure) {
    // Said once, not with each datagram.
    if (std::exchange(unreachable_, peer) != peer) {
      remark_(fmt::format("no socket for {}: {}", io::addressText(peer), failure.what()));
    }
    return *search_;
  }
  if (peers_.size() > kMostPeers) peers_.pop_back();
  return *peers_.front().socket;
}

void CLinkSockets::send(const io::Address& to, std::string_view bytes) {
  if (to.ip != io::kBroadcastIp) {
    socketFor(to).send(to, bytes);
    return;
  }
  listen();
  for (const std::uint32_t ip : broadcastAddresses()) search_->send({ip, to.port}, bytes);
}

void CLinkSockets::onReceive(ReceiveHandler handler) {
  receiveHandler_ = std::move(handler);
}

void CLinkSockets::onRefused(RefusedHandler handler) {
  refusedHandler_ = std::move(handler);
}

}  // namespace helper
