#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "bacnet/network/network.h"
#include "bacnet/service/cov.h"
#include "io/timers.h"

namespace bacnet::server {

/// Sends COV notifications; confirmed ones three times more, 3 s apart, until they are answered.
class CNotifier {
 public:
  /// Both outlive it.
  CNotifier(CNetwork& network, io::CTimers& timers) : network_(network), timers_(timers) {}

  /// `done` as CCovServer's Send says.
  void send(const Station& to, bool confirmed, const CovNotification& notification, std::function<void()> done);
  /// `station` has answered a confirmed request of this device, in whatever way.
  void onAnswer(const Station& station, std::uint8_t invokeId);
  void dropAll() { underWay_.clear(); }

 private:
  struct UnderWay {
    Station to;
    std::string data;
    std::function<void()> done;
    int triesLeft = 0;
    io::CTimer again;
  };

  void trySending(std::uint8_t invokeId);
  void finish(std::uint8_t invokeId);

  CNetwork& network_;
  io::CTimers& timers_;
  std::map<std::uint8_t, UnderWay> underWay_;
  std::uint8_t nextInvokeId_ = 0;
};

}  // namespace bacnet::server
