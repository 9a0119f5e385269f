#include "reliability/network/wire.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <sys/epoll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <optional>
#include <utility>

namespace reliability {

namespace {

constexpr std::size_t kLongestFrame = 2048;
constexpr std::size_t kEthernet = 14;
constexpr std::size_t kUdpHeader = 8;
constexpr std::size_t kBvlcHeader = 4;
constexpr std::size_t kNpduHeader = 2;  // of a station that is not routed
constexpr int kKeptAtLeast = 5;         // s, where the invoke id is not used again before
constexpr int kKeptAtMost = 30;
constexpr auto kTransactionIsOver = std::chrono::seconds(3);  // no try of the same request comes any more

std::uint16_t number16(const std::string& frame, std::size_t at) {
  std::uint16_t number = 0;
  std::memcpy(&number, frame.data() + at, sizeof(number));
  return ntohs(number);
}

void setNumber16(std::string& frame, std::size_t at, std::size_t value) {
  const std::uint16_t number = htons(static_cast<std::uint16_t>(value));
  std::memcpy(frame.data() + at, &number, sizeof(number));
}

std::uint32_t ipAt(const std::string& frame, std::size_t at) {
  std::uint32_t ip = 0;
  std::memcpy(&ip, frame.data() + at, sizeof(ip));
  return ntohl(ip);
}

/// Where the parts of a frame with a whole UDP datagram are.
struct Udp {
  std::uint32_t source;
  std::uint32_t destination;
  std::size_t ipHeader;
  std::size_t header;
  std::size_t payload;
};

std::optional<Udp> udpIn(const std::string& frame) {
  constexpr std::size_t kIpHeader = 20;
  if (frame.size() < kEthernet + kIpHeader + kUdpHeader || number16(frame, 12) != 0x0800) return std::nullopt;
  const std::size_t header = kEthernet + (static_cast<unsigned char>(frame[kEthernet]) & 0x0FU) * std::size_t{4};
  if (frame[kEthernet + 9] != IPPROTO_UDP || frame.size() < header + kUdpHeader) return std::nullopt;
  return Udp{ipAt(frame, kEthernet + 12), ipAt(frame, kEthernet + 16), kEthernet, header, header + kUdpHeader};
}

// Zero says that there is none: the kernel leaves them unfinished on such interfaces, and a cut changes them.
void dropChecksum(std::string& frame, const Udp& udp) {
  setNumber16(frame, udp.header + 6, 0);
}

void setIpChecksum(std::string& frame, const Udp& udp) {
  setNumber16(frame, udp.ipHeader + 10, 0);
  std::uint32_t sum = 0;
  for (std::size_t at = udp.ipHeader; at < udp.header; at += 2) sum += number16(frame, at);
  while (sum > 0xFFFF) sum = (sum & 0xFFFF) + (sum >> 16);
  setNumber16(frame, udp.ipHeader + 10, ~sum & 0xFFFF);
}

// One that ends before its priority, and says so, is a whole write again, of another slot.
bool isWrite(const std::string& frame, const Udp& udp) {
  constexpr int kWriteProperty = 15;
  constexpr int kWritePropertyMultiple = 16;
  const std::size_t apdu = udp.payload + kBvlcHeader + kNpduHeader;
  if (frame.size() < apdu + 4 || static_cast<unsigned char>(frame[apdu]) >> 4 != 0) return false;
  const int service = static_cast<unsigned char>(frame[apdu + 3]);
  return service == kWriteProperty || service == kWritePropertyMultiple;
}

}  // namespace

CWire::CWire(int panelEnd, int fieldEnd, unsigned seed) : ends_{panelEnd, fieldEnd}, dice_(seed) {
  for (const int end : {0, 1}) {
    if (!loop_.watch(ends_[static_cast<std::size_t>(end)], EPOLLIN, [this, end](std::uint32_t) { carry(end); })) {
      std::abort();
    }
  }
  endWhenOver();
  thread_ = std::thread([this] { loop_.run(); });
}

CWire::~CWire() {
  isOver_ = true;
  thread_.join();
  for (const int end : ends_) {
    loop_.unwatch(end);
    ::close(end);
  }
}

void CWire::endWhenOver() {
  if (isOver_) return loop_.stop(0);
  watch_ = loop_.after(std::chrono::milliseconds(50), [this] { endWhenOver(); });
}

void CWire::setTargets(std::set<std::uint32_t> ips) {
  const std::lock_guard lock(mutex_);
  targets_ = std::move(ips);
}

void CWire::setWeather(const Weather& weather) {
  const std::lock_guard lock(mutex_);
  weather_ = weather;
}

void CWire::carry(int end) {
  std::string frame(kLongestFrame, '\0');
  for (;;) {
    const ssize_t count = ::recv(ends_[static_cast<std::size_t>(end)], frame.data(), frame.size(), MSG_DONTWAIT);
    if (count <= 0) return;
    pass(end, frame.substr(0, static_cast<std::size_t>(count)));
  }
}

void CWire::pass(int end, std::string frame) {
  const int to = 1 - end;
  const auto udp = udpIn(frame);
  if (!udp) return launch(to, std::move(frame), {});
  dropChecksum(frame, *udp);
  {
    const std::lock_guard lock(mutex_);
    now_ = targets_.count(udp->source) + targets_.count(udp->destination) > 0 ? weather_ : Weather();
  }
  if (isDue(now_.lost) || keepOrGiveBack(end, frame)) return;
  const int copies = isDue(now_.doubled) ? 2 : 1;
  if (isDue(now_.cut)) cut(frame);
  for (int i = 0; i < copies; ++i) {
    const auto longest = static_cast<int>(now_.delay.count());
    launch(to, frame, std::chrono::milliseconds(std::uniform_int_distribution<>(0, longest)(dice_)));
  }
}

/// Result: whether the frame is kept, as an answer that will come late.
bool CWire::keepOrGiveBack(int end, const std::string& frame) {
  const auto udp = *udpIn(frame);
  const std::size_t apdu = udp.payload + kBvlcHeader + kNpduHeader;
  if (now_.late == 0 || frame.size() < apdu + 3) return false;
  const int type = static_cast<unsigned char>(frame[apdu]) >> 4;
  if (end == 0 && type == 0) {
    const auto held = held_.find({udp.destination, static_cast<std::uint8_t>(frame[apdu + 2])});
    if (held != held_.end() && loop_.now() - held->second.since >= kTransactionIsOver) giveBack(held->first);
  } else if (end == 1 && (type == 2 || type == 3) && isDue(now_.late)) {
    const HeldKey key{udp.source, static_cast<std::uint8_t>(frame[apdu + 1])};
    const std::chrono::seconds kept(std::uniform_int_distribution<>(kKeptAtLeast, kKeptAtMost)(dice_));
    held_[key] = {frame, loop_.now(), loop_.after(kept, [this, key] { giveBack(key); })};
    return true;
  }
  return false;
}

void CWire::giveBack(HeldKey key) {
  launch(0, held_.at(key).frame, {});
  held_.erase(key);
  ++lateAnswers_;
}

void CWire::cut(std::string& frame) {
  const auto udp = *udpIn(frame);
  const std::size_t length = frame.size() - udp.payload;
  if (length <= kBvlcHeader) return;
  frame.resize(udp.payload + std::uniform_int_distribution<std::size_t>(1, length - 1)(dice_));
  setNumber16(frame, udp.ipHeader + 2, frame.size() - udp.ipHeader);
  setNumber16(frame, udp.header + 4, frame.size() - udp.header);
  setIpChecksum(frame, udp);
  if (frame.size() >= udp.payload + kBvlcHeader && !isWrite(frame, udp) && isDue(0.5)) {
    setNumber16(frame, udp.payload + 2, frame.size() - udp.payload);
  }
}

void CWire::launch(int to, std::string frame, io::Duration delay) {
  const int end = ends_[static_cast<std::size_t>(to)];
  if (delay == io::Duration::zero()) {
    ::send(end, frame.data(), frame.size(), MSG_DONTWAIT);
    return;
  }
  const std::uint64_t number = launched_++;
  underWay_[number] = loop_.after(delay, [this, end, number, frame = std::move(frame)] {
    ::send(end, frame.data(), frame.size(), MSG_DONTWAIT);
    underWay_.erase(number);
  });
}

}  // namespace reliability
