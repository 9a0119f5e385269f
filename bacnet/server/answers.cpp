#include <algorithm>
#include <chrono>
#include <limits>

#include "bacnet/codec/apdu.h"
#include "bacnet/number/failures.h"
#include "bacnet/server/patience.h"
#include "bacnet/server/transactions.h"

namespace bacnet::server {

namespace {

constexpr std::size_t kMostAnswers = 64;

std::size_t mostSegments(const ConfirmedRequest& request) {
  const bool isBounded = request.maxSegmentsCode >= 1 && request.maxSegmentsCode <= 6;
  return isBounded ? std::size_t{1} << request.maxSegmentsCode : std::numeric_limits<std::size_t>::max();
}

bool sendsSegments(const Abilities& abilities) {
  return abilities.segmentation == Segmentation::kBoth || abilities.segmentation == Segmentation::kTransmit;
}

}  // namespace

CAnswers::CAnswers(CNetwork& network, io::CTimers& timers, const Abilities& abilities)
    : network_(network), timers_(timers), abilities_(abilities) {}

void CAnswers::send(const Station& to, const ConfirmedRequest& request, std::string data) {
  const std::size_t longest = std::min(request.maxApdu, abilities_.maxApdu);
  if (kComplexAckHeader + data.size() <= longest) {
    network_.send(to, ComplexAck{request.invokeId, request.service, std::nullopt, data}, false);
    return;
  }
  const auto abort = [&](std::uint8_t reason) { network_.send(to, AbortPdu{request.invokeId, true, reason}, false); };
  if (!sendsSegments(abilities_) || !request.takesSegmentedAnswer)
    return abort(abort_reason::kSegmentationNotSupported);
  if (underWay_.size() == kMostAnswers) return abort(abort_reason::kOutOfResources);
  CSegmenter segmenter(std::move(data), longest - kSegmentedAckHeader);
  if (segmenter.count() > mostSegments(request)) return abort(abort_reason::kBufferOverflow);

  const TransactionKey key{to, request.invokeId};
  underWay_.insert_or_assign(key, UnderWay{request.service, std::move(segmenter), kApduTries, {}});
  trySending(key);
}

void CAnswers::onSegmentAck(const Station& from, const SegmentAck& ack) {
  const TransactionKey key{from, ack.invokeId};
  const auto found = underWay_.find(key);
  if (found == underWay_.end()) return;
  switch (found->second.segmenter.take(ack)) {
    case CSegmenter::Step::kNothing:
      break;
    case CSegmenter::Step::kDone:
      drop(key);
      break;
    case CSegmenter::Step::kSendWindow:
      found->second.triesLeft = kApduTries;
      trySending(key);
      break;
  }
}

void CAnswers::trySending(const TransactionKey& key) {
  UnderWay& underWay = underWay_.at(key);
  if (underWay.triesLeft-- == 0) return drop(key);
  sendWindow(key);
  underWay.again = timers_.after(kApduSegmentTimeout, [this, key] { trySending(key); });
}

void CAnswers::sendWindow(const TransactionKey& key) {
  const UnderWay& underWay = underWay_.at(key);
  for (const CSegmenter::Piece& piece : underWay.segmenter.window()) {
    network_.send(key.first, ComplexAck{key.second, underWay.service, piece.segment, piece.data}, true);
  }
}

}  // namespace bacnet::server
