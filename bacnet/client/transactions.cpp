#include "bacnet/client/transactions.h"

#include <algorithm>
#include <utility>
#include <vector>

#include "bacnet/number/failures.h"

namespace bacnet {

namespace {

constexpr std::uint8_t kAnyNumberSegments = 7;  // code for more than 64

template <typename... Ts>
struct Overload : Ts... {
  using Ts::operator()...;
};
template <typename... Ts>
Overload(Ts...) -> Overload<Ts...>;

}  // namespace

void CTransactions::start(const Peer& peer, Request request, Tries tries) {
  const bool fits = kConfirmedRequestHeader + request.data.size() <= peer.maxApdu;
  const auto id = fits || peer.takesSegments ? ids_.take(timers_.now()) : std::nullopt;
  if (!id) return request.done(Answer{fits ? Answer::Kind::kOverdue : Answer::Kind::kTooLong, 0, {}});

  Transaction& transaction = open_[*id];
  transaction.peer = peer;
  transaction.request = std::move(request);
  transaction.started = transaction.advanced = timers_.now();
  transaction.isProbe = tries == Tries::kOnce;
  if (transaction.isProbe) {
    transaction.triesLeft = 1;
  } else {
    ++underWay_;
  }
  if (!fits) {
    transaction.outgoing =
        std::make_unique<CSegmenter>(transaction.request.data, peer.maxApdu - kSegmentedRequestHeader);
  }
  sendTry(*id, transaction);
  schedule(*id, transaction);
}

void CTransactions::sendTry(std::uint8_t id, Transaction& transaction) {
  --transaction.triesLeft;
  transaction.sent = timers_.now();
  if (!transaction.outgoing) return sendRequest(id, transaction, nullptr, transaction.request.data);
  for (const auto& piece : transaction.outgoing->window()) sendRequest(id, transaction, &piece.segment, piece.data);
}

void CTransactions::sendRequest(std::uint8_t id, const Transaction& transaction, const Segment* segment,
                                std::string_view data) {
  ConfirmedRequest request;
  request.invokeId = id;
  request.service = transaction.request.service;
  request.takesSegmentedAnswer = true;
  request.maxSegmentsCode = kAnyNumberSegments;
  request.maxApdu = transaction.peer.station.remote ? kRoutedMaxApdu : kOwnMaxApdu;
  if (segment) request.segment = *segment;
  request.data = data;
  network_.send(transaction.peer.station, request, true);
}

void CTransactions::schedule(std::uint8_t id, Transaction& transaction) {
  io::TimePoint due = transaction.advanced + (transaction.isOverdue ? kAnswerMayCome : kOverdueAfter);
  if (transaction.triesLeft > 0 && !transaction.incoming) due = std::min(due, transaction.sent + kTryInterval);
  transaction.timer = timers_.at(due, [this, id] { wake(id); });
}

void CTransactions::wake(std::uint8_t id) {
  const auto open = open_.find(id);
  Transaction& transaction = open->second;
  const io::TimePoint now = timers_.now();
  if (transaction.isOverdue && now >= transaction.advanced + kAnswerMayCome) {
    ids_.release(id, transaction.advanced + kAnswerMayStray);
    open_.erase(open);
    return;
  }
  if (transaction.triesLeft > 0 && !transaction.incoming && now >= transaction.sent + kTryInterval) {
    transaction.wasRepeated = true;
    sendTry(id, transaction);
  }
  const bool becomesOverdue = !transaction.isOverdue && now >= transaction.advanced + kOverdueAfter;
  transaction.isOverdue = transaction.isOverdue || becomesOverdue;
  schedule(id, transaction);
  if (!becomesOverdue || transaction.isProbe) return;

  --underWay_;
  const auto started = transaction.started;
  const auto done = transaction.request.done;
  done(Answer{Answer::Kind::kOverdue, 0, {}});
  if (overdue_) overdue_(started);
  if (free_) free_();
}

/// Something has come that brings the answer nearer, but not for ever.
void CTransactions::advance(Transaction& transaction) {
  transaction.advanced = std::min(timers_.now(), transaction.started + kLongestExchange);
}

CTransactions::Open::iterator CTransactions::find(const Incoming& from, std::uint8_t id) {
  const auto open = open_.find(id);
  if (open == open_.end() || from.isBroadcast || !(open->second.peer.station == from.station)) return open_.end();
  return open;
}

CTransactions::Open::iterator CTransactions::find(const Incoming& from, std::uint8_t id, ConfirmedService service) {
  const auto open = find(from, id);
  return open == open_.end() || open->second.request.service != service ? open_.end() : open;
}

bool CTransactions::take(const Incoming& from, const Apdu& apdu) {
  using Kind = Answer::Kind;
  return std::visit(Overload{
                        [&](const SimpleAck& ack) {
                          return finish(find(from, ack.invokeId, ack.service), {Kind::kAck, 0, {}});
                        },
                        [&](const ComplexAck& ack) { return takeAck(from, ack); },
                        [&](const SegmentAck& ack) { return takeSegmentAck(from, ack); },
                        [&](const ErrorPdu& error) {
                          return finish(find(from, error.invokeId, error.service), {Kind::kError, 0, error.data});
                        },
                        [&](const RejectPdu& reject) {
                          return finish(find(from, reject.invokeId), {Kind::kReject, reject.reason, {}});
                        },
                        // Whether it comes from a server is not asked for: some devices leave that bit out.
                        [&](const AbortPdu& aborted) {
                          return finish(find(from, aborted.invokeId), {Kind::kAbort, aborted.reason, {}});
                        },
                        [](const auto&) { return false; },
                    },
                    apdu);
}

bool CTransactions::takeAck(const Incoming& from, const ComplexAck& ack) {
  const auto open = find(from, ack.invokeId, ack.service);
  if (!ack.segment) return finish(open, {Answer::Kind::kAck, 0, ack.data});
  if (open == open_.end()) {
    // A segment that nobody waits for: its sender is told, or it would repeat it.
    if (!from.isBroadcast) abort(from.station, ack.invokeId, abort_reason::kInvalidApduInThisState);
    return false;
  }
  takeSegment(open, ack);
  return true;
}

void CTransactions::takeSegment(Open::iterator open, const ComplexAck& ack) {
  const std::uint8_t id = open->first;
  Transaction& transaction = open->second;
  if (!transaction.incoming) transaction.incoming = std::make_unique<CAssembly>();
  auto taken = transaction.incoming->take(*ack.segment, ack.data);
  if (taken.ack) {
    taken.ack->invokeId = id;
    network_.send(transaction.peer.station, *taken.ack, false);
  }
  if (taken.step == CAssembly::Step::kTooLarge) {
    abort(transaction.peer.station, id, abort_reason::kBufferOverflow);
    finish(open, {Answer::Kind::kAbort, abort_reason::kBufferOverflow, {}});
  } else if (taken.step == CAssembly::Step::kComplete) {
    const auto assembly = std::move(transaction.incoming);
    finish(open, {Answer::Kind::kAck, 0, assembly->message()});
  } else {
    advance(transaction);
    schedule(id, transaction);
  }
}

bool CTransactions::takeSegmentAck(const Incoming& from, const SegmentAck& ack) {
  const auto open = find(from, ack.invokeId);
  if (open == open_.end() || !open->second.outgoing) return false;
  Transaction& transaction = open->second;
  const auto step = transaction.outgoing->take(ack);
  if (step == CSegmenter::Step::kNothing) return true;
  advance(transaction);
  if (step == CSegmenter::Step::kDone) {
    transaction.outgoing.reset();
    transaction.triesLeft = 0;  // the device has all of it
  } else {
    transaction.triesLeft = kTries;
    sendTry(ack.invokeId, transaction);
  }
  schedule(ack.invokeId, transaction);
  return true;
}

/// An answer to a later try may still come when there was one.
bool CTransactions::finish(Open::iterator open, const Answer& answer) {
  if (open == open_.end()) return false;
  const auto taken = open_.extract(open);
  const Transaction& transaction = taken.mapped();
  ids_.release(taken.key(), transaction.wasRepeated ? transaction.advanced + kAnswerMayStray : timers_.now());
  const bool wasWaitedFor = !transaction.isProbe && !transaction.isOverdue;
  if (wasWaitedFor) --underWay_;
  transaction.request.done(answer);
  if (wasWaitedFor && free_) free_();
  return true;
}

void CTransactions::moveTo(const Station& station) {
  for (auto& [id, transaction] : open_) transaction.peer.station = station;
}

void CTransactions::failAll(Answer::Kind kind) {
  std::vector<Transaction> failed;
  for (auto& [id, transaction] : open_) {
    ids_.release(id, transaction.advanced + kAnswerMayStray);
    failed.push_back(std::move(transaction));
  }
  open_.clear();
  underWay_ = 0;
  for (auto& transaction : failed) {
    transaction.timer.cancel();
    if (!transaction.isOverdue) transaction.request.done(Answer{kind, 0, {}});
  }
  if (!failed.empty() && free_) free_();
}

void CTransactions::abort(const Station& station, std::uint8_t id, std::uint8_t reason) {
  AbortPdu pdu;
  pdu.invokeId = id;
  pdu.reason = reason;
  network_.send(station, pdu, false);
}

}  // namespace bacnet
