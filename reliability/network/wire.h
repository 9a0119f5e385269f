#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <string>
#include <thread>

#include "io/event_loop.h"

namespace reliability {

/// What becomes of the UDP datagrams from and to the targets: chances from 0 to 1, for each datagram by itself.
struct Weather {
  double lost = 0;
  double doubled = 0;
  double cut = 0;                      ///< anywhere; half of them with the length in the header made right
  double late = 0;                     ///< answers kept until their invoke id is used again, for 30 s at most
  std::chrono::milliseconds delay{0};  ///< at most; what is faster overtakes
};

/// An Ethernet cable between two network interfaces, and the faults on it, by dice that fall the same for one seed. It
/// takes the place of the kernel's netem, which not every kernel has, and which knows nothing of invoke ids.
class CWire {
 public:
  /// Two packet sockets, one for each end; they are closed with the wire.
  CWire(int panelEnd, int fieldEnd, unsigned seed);
  ~CWire();
  CWire(const CWire&) = delete;
  CWire& operator=(const CWire&) = delete;

  /// From any thread.
  void setTargets(std::set<std::uint32_t> ips);
  void setWeather(const Weather& weather);
  /// Answers that were delivered as late as can be.
  unsigned lateAnswers() const { return lateAnswers_; }

 private:
  using HeldKey = std::pair<std::uint32_t, std::uint8_t>;  // the device's ip, the invoke id
  struct Held {
    std::string frame;
    io::TimePoint since;
    io::CTimer latest;
  };

  void endWhenOver();
  void carry(int end);
  void pass(int end, std::string frame);
  void launch(int to, std::string frame, io::Duration delay);
  bool keepOrGiveBack(int end, const std::string& frame);
  void giveBack(HeldKey key);
  void cut(std::string& frame);
  bool isDue(double chance) { return chance > 0 && std::uniform_real_distribution<>()(dice_) < chance; }

  const std::array<int, 2> ends_;  // the panel's, the field's
  io::CEventLoop loop_;
  std::mt19937 dice_;
  std::mutex mutex_;  // of the two below
  Weather weather_;
  std::set<std::uint32_t> targets_;
  Weather now_;  // of the frame at hand
  std::map<HeldKey, Held> held_;
  std::map<std::uint64_t, io::CTimer> underWay_;
  std::uint64_t launched_ = 0;
  std::atomic<unsigned> lateAnswers_{0};
  std::atomic<bool> isOver_{false};
  io::CTimer watch_;
  std::thread thread_;
};

}  // namespace reliability
