#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "bacnet/network/network.h"
#include "bacnet/segment/assembly.h"
#include "bacnet/segment/segmenter.h"
#include "bacnet/server/device.h"
#include "io/timers.h"

namespace bacnet::server {

using TransactionKey = std::pair<Station, std::uint8_t>;  // who asks, and the invoke id

/// Requests that come in segments.
class CSegmentedRequests {
 public:
  /// A request that is whole; what it points to is valid during the call.
  using Handler = std::function<void(const Station& from, const ConfirmedRequest& request)>;

  /// All outlive it.
  CSegmentedRequests(CNetwork& network, io::CTimers& timers, const Abilities& abilities, Handler handler);

  void take(const Station& from, const ConfirmedRequest& request);
  void drop(const TransactionKey& key) { underWay_.erase(key); }
  void dropAll() { underWay_.clear(); }

 private:
  struct UnderWay {
    CAssembly assembly;
    bool isComplete = false;
    io::CTimer timeOut;
  };

  UnderWay* begin(const TransactionKey& key, const ConfirmedRequest& request);
  void abort(const TransactionKey& key, std::uint8_t reason);

  CNetwork& network_;
  io::CTimers& timers_;
  const Abilities& abilities_;
  Handler handler_;
  std::map<TransactionKey, UnderWay> underWay_;
};

/// Acknowledgements that go out in one piece or in segments, whatever the client takes.
class CAnswers {
 public:
  /// All outlive it.
  CAnswers(CNetwork& network, io::CTimers& timers, const Abilities& abilities);

  /// Answers `request` with the service's data; with an Abort where that is too long for the client.
  void send(const Station& to, const ConfirmedRequest& request, std::string data);
  void onSegmentAck(const Station& from, const SegmentAck& ack);
  /// The answer is on its way in segments: the same request again is a repetition.
  bool isUnderWay(const TransactionKey& key) const { return underWay_.count(key) != 0; }
  void drop(const TransactionKey& key) { underWay_.erase(key); }
  void dropAll() { underWay_.clear(); }

 private:
  struct UnderWay {
    ConfirmedService service{};
    CSegmenter segmenter;
    int triesLeft = 0;
    io::CTimer again;
  };

  void sendWindow(const TransactionKey& key);
  void trySending(const TransactionKey& key);

  CNetwork& network_;
  io::CTimers& timers_;
  const Abilities& abilities_;
  std::map<TransactionKey, UnderWay> underWay_;
};

}  // namespace bacnet::server
