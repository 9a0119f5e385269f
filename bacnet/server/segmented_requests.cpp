#include <chrono>

#include "bacnet/number/failures.h"
#include "bacnet/server/transactions.h"

namespace bacnet::server {

namespace {

constexpr std::size_t kMostRequests = 32;
constexpr std::chrono::seconds kTimeOut(8);  // four times the segment time-out, as the receiver's rule is
constexpr std::uint8_t kLargestWindow = 127;

bool takesSegments(const Abilities& abilities) {
  return abilities.segmentation == Segmentation::kBoth || abilities.segmentation == Segmentation::kReceive;
}

}  // namespace

CSegmentedRequests::CSegmentedRequests(CNetwork& network, io::CTimers& timers, const Abilities& abilities,
                                       Handler handler)
    : network_(network), timers_(timers), abilities_(abilities), handler_(std::move(handler)) {}

void CSegmentedRequests::take(const Station& from, const ConfirmedRequest& request) {
  const TransactionKey key{from, request.invokeId};
  UnderWay* underWay = begin(key, request);
  if (underWay == nullptr) return;
  const CAssembly::Taken taken = underWay->assembly.take(*request.segment, request.data);
  if (taken.step == CAssembly::Step::kTooLarge) return abort(key, abort_reason::kBufferOverflow);
  underWay->timeOut = timers_.after(kTimeOut, [this, key] { drop(key); });
  if (taken.ack) {
    SegmentAck ack = *taken.ack;
    ack.invokeId = request.invokeId;
    ack.fromServer = true;
    network_.send(from, ack, false);
  }
  if (taken.step != CAssembly::Step::kComplete || underWay->isComplete) return;
  underWay->isComplete = true;  // and stays for its time: the last acknowledgement may be lost
  ConfirmedRequest whole = request;
  whole.segment.reset();
  whole.data = underWay->assembly.message();
  handler_(from, whole);
}

// Result: where the segment belongs to; null when it has been refused.
CSegmentedRequests::UnderWay* CSegmentedRequests::begin(const TransactionKey& key, const ConfirmedRequest& request) {
  const bool isFirst = request.segment->sequence == 0;
  const auto found = underWay_.find(key);
  if (found != underWay_.end() && !(found->second.isComplete && isFirst)) return &found->second;
  drop(key);

  if (!takesSegments(abilities_)) {
    abort(key, abort_reason::kSegmentationNotSupported);
  } else if (!isFirst) {
    abort(key, abort_reason::kInvalidApduInThisState);
  } else if (request.segment->window == 0 || request.segment->window > kLargestWindow) {
    abort(key, abort_reason::kWindowSizeOutOfRange);
  } else if (underWay_.size() == kMostRequests) {
    abort(key, abort_reason::kOutOfResources);
  } else {
    return &underWay_[key];
  }
  return nullptr;
}

void CSegmentedRequests::abort(const TransactionKey& key, std::uint8_t reason) {
  network_.send(key.first, AbortPdu{key.second, true, reason}, false);
  drop(key);
}

}  // namespace bacnet::server
