#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>

#include "bacnet/client/invoke_ids.h"
#include "bacnet/client/request.h"
#include "bacnet/network/network.h"
#include "bacnet/segment/assembly.h"
#include "bacnet/segment/segmenter.h"
#include "io/timers.h"

namespace bacnet {

constexpr std::size_t kOwnMaxApdu = 1476;    // octets that we take, and send at most
constexpr std::size_t kRoutedMaxApdu = 480;  // what every kind of network on the way carries

constexpr io::Duration kTryInterval = std::chrono::seconds(1);
constexpr int kTries = 3;
constexpr io::Duration kOverdueAfter = std::chrono::milliseconds(2500);  // a caller has been answered by then
constexpr io::Duration kAnswerMayCome = std::chrono::seconds(6);
constexpr io::Duration kAnswerMayStray = std::chrono::seconds(60);   // until then no other request has its id
constexpr io::Duration kLongestExchange = std::chrono::seconds(60);  // of segments, however steadily they come

/// Whom a request goes to and what it takes.
struct Peer {
  Station station;
  std::size_t maxApdu = kRoutedMaxApdu;
  bool takesSegments = false;
};

/// The confirmed requests to one device that are under way: repeats them, matches answers by peer and invoke id, sends
/// and takes segments, and waits for late ones. Times count from a request's first try; where segments are exchanged,
/// from the newest that brought it on.
class CTransactions {
 public:
  enum class Tries { kUsual, kOnce };

  CTransactions(CNetwork& network, io::CTimers& timers) : network_(network), timers_(timers) {}

  /// One of kUsual tries has had no answer in time; `since` is when it was sent first. Called after its own handler.
  void onOverdue(std::function<void(io::TimePoint since)> handler) { overdue_ = std::move(handler); }
  /// One fewer is under way.
  void onFree(std::function<void()> handler) { free_ = std::move(handler); }

  /// Possibly calls `request.done` before it returns, with kTooLong.
  void start(const Peer& peer, Request request, Tries tries = Tries::kUsual);
  /// Those of kUsual tries that are waited for and not overdue.
  std::size_t underWay() const { return underWay_; }

  /// Result: false if `apdu` is no answer to any of them.
  bool take(const Incoming& from, const Apdu& apdu);
  /// The device is somewhere else: repetitions go there, answers are expected from there.
  void moveTo(const Station& station);
  /// Ends the wait for all of them: the network says no.
  void failAll(Answer::Kind kind);

 private:
  struct Transaction {
    Peer peer;
    Request request;
    io::TimePoint started;
    io::TimePoint advanced;  // when an answer last came nearer; at first when it was started
    io::TimePoint sent;      // the newest try
    int triesLeft = kTries;
    bool isProbe = false;
    bool isOverdue = false;
    bool wasRepeated = false;
    std::unique_ptr<CSegmenter> outgoing;
    std::unique_ptr<CAssembly> incoming;
    io::CTimer timer;
  };
  using Open = std::map<std::uint8_t, Transaction>;

  Open::iterator find(const Incoming& from, std::uint8_t id);
  Open::iterator find(const Incoming& from, std::uint8_t id, ConfirmedService service);
  void sendTry(std::uint8_t id, Transaction& transaction);
  void sendRequest(std::uint8_t id, const Transaction& transaction, const Segment* segment, std::string_view data);
  void schedule(std::uint8_t id, Transaction& transaction);
  void wake(std::uint8_t id);
  void advance(Transaction& transaction);
  bool takeAck(const Incoming& from, const ComplexAck& ack);
  void takeSegment(Open::iterator open, const ComplexAck& ack);
  bool takeSegmentAck(const Incoming& from, const SegmentAck& ack);
  bool finish(Open::iterator open, const Answer& answer);
  void abort(const Station& station, std::uint8_t id, std::uint8_t reason);

  CNetwork& network_;
  io::CTimers& timers_;
  CInvokeIds ids_;
  Open open_;
  std::size_t underWay_ = 0;
  std::function<void(io::TimePoint)> overdue_;
  std::function<void()> free_;
};

}  // namespace bacnet
