#include "bacnet/client/batch_limit.h"

#include <algorithm>
#include <utility>

#include "bacnet/client/device_client.h"
#include "bacnet/number/failures.h"

namespace bacnet {

namespace {

constexpr std::size_t kObjectIdOctets = 5;
constexpr std::size_t kTagOctets = 1;    // one that opens or closes
constexpr std::size_t kIndexOctets = 3;  // up to 65535

std::size_t referenceOctets(const PropertyReference& reference) {
  const std::size_t property = reference.property < 0x100 ? 2 : reference.property < 0x10000 ? 3 : 4;
  return property + (reference.index ? kIndexOctets : 0);
}

bool meansUnknownService(const Error& error) {
  return error.errorCode == error_code::kRejectUnrecognizedService ||
         error.errorCode == error_code::kOptionalFunctionalityNotSupported ||
         (error.errorClass == error_class::kServices && error.errorCode == error_code::kServiceRequestDenied);
}

}  // namespace

std::size_t requestOctets(const ReadItem& item) {
  return kObjectIdOctets + 2 * kTagOctets + referenceOctets(item.address.reference);
}

std::size_t answerOctets(const ReadItem& item) {
  return requestOctets(item) + 2 * kTagOctets + item.expectedOctets;
}

BatchRemedy remedyFor(ConfirmedService service, const Answer& answer) {
  switch (answer.kind) {
    case Answer::Kind::kReject:
      return answer.reason == reject_reason::kUnrecognizedService ? BatchRemedy::kNever : BatchRemedy::kSmaller;
    case Answer::Kind::kAbort:
    case Answer::Kind::kTooLong:
      return BatchRemedy::kSmaller;
    case Answer::Kind::kError: {
      const auto reply = parseError(service, answer.data);
      return reply && meansUnknownService(reply->error) ? BatchRemedy::kNever : BatchRemedy::kSplit;
    }
    default:
      return BatchRemedy::kNone;
  }
}

void CBatchLimit::refuse(std::size_t items) {
  most_ = std::max<std::size_t>(std::min(most_, items / 2), 1);
}

void CBatchLimit::refuse() {
  if (!mostBefore_) mostBefore_ = most_;
  most_ = 1;
}

void CBatchLimit::forgetRefusal() {
  if (mostBefore_) most_ = *mostBefore_;
  mostBefore_.reset();
}

void CBatchLimit::forgetSize() {
  if (isAllowed_) (mostBefore_ ? *mostBefore_ : most_) = kNoLimit;
}

void CBatchLimit::judge(bool wasThere) {
  const std::size_t suspected = std::exchange(suspected_, 0);
  if (suspected == 0 || !wasThere) return;
  if (suspected > std::exchange(proven_, 0)) refuse(suspected);
}

}  // namespace bacnet
