#include "bacnet/client/answers.h"

#include <utility>

#include "bacnet/number/object_types.h"
#include "bacnet/service/property.h"

namespace bacnet {

namespace {

/// A device may name itself where it was asked as whoever it is.
bool isSame(const ObjectId& asked, const ObjectId& answered) {
  const bool isWhoever = asked.type == object_type::kDevice && asked.instance == kLargestInstance;
  return answered == asked || (isWhoever && answered.type == asked.type);
}

}  // namespace

Failure failureOf(ConfirmedService service, const Answer& answer) {
  Failure failure;
  failure.reason = answer.reason;
  switch (answer.kind) {
    case Answer::Kind::kAck:
      failure.kind = Failure::Kind::kUndecodable;
      break;
    case Answer::Kind::kError:
      if (const auto reply = parseError(service, answer.data)) {
        failure.kind = Failure::Kind::kError;
        failure.error = reply->error;
      } else {
        failure.kind = Failure::Kind::kUndecodable;
      }
      break;
    case Answer::Kind::kReject:
      failure.kind = Failure::Kind::kReject;
      break;
    case Answer::Kind::kAbort:
      failure.kind = Failure::Kind::kAbort;
      break;
    case Answer::Kind::kUnreachable:
      failure.kind = Failure::Kind::kUnreachable;
      break;
    case Answer::Kind::kTooLong:
      failure.kind = Failure::Kind::kTooLong;
      break;
    case Answer::Kind::kRefused:
    case Answer::Kind::kOverdue:
      failure.kind = Failure::Kind::kSilent;
      break;
  }
  return failure;
}

ReadOutcome readOutcome(const PropertyAddress& address, const Answer& answer) {
  if (answer.kind != Answer::Kind::kAck) return failureOf(ConfirmedService::kReadProperty, answer);
  auto ack = parseReadPropertyAck(answer.data);
  if (!ack || !isSame(address.object, ack->object) || !(ack->reference == address.reference)) {
    return failureOf(ConfirmedService::kReadProperty, answer);
  }
  return std::move(ack->values);
}

}  // namespace bacnet
