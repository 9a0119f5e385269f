#include "bacnet/client/profile_reader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "bacnet/client/answers.h"
#include "bacnet/number/failures.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"

namespace bacnet {

namespace {

constexpr PropertyId kAsked[] = {property::kObjectIdentifier, property::kMaxApduLengthAccepted,
                                 property::kSegmentationSupported, property::kProtocolServicesSupported};
constexpr std::size_t kSmallestApdu = 50;

void apply(DeviceProfile& profile, PropertyId property, const Value& value) {
  switch (property) {
    case property::kObjectIdentifier:
      if (const auto* object = std::get_if<ObjectId>(&value)) profile.deviceId = object->instance;
      break;
    case property::kMaxApduLengthAccepted:
      if (const auto* octets = std::get_if<std::uint64_t>(&value)) profile.maxApdu = usableApdu(*octets);
      break;
    case property::kSegmentationSupported:
      if (const auto* kind = std::get_if<Enumerated>(&value); kind && kind->number <= 3) {
        profile.segmentation = static_cast<Segmentation>(kind->number);
      }
      break;
    case property::kProtocolServicesSupported:
      if (const auto* services = std::get_if<BitString>(&value)) profile.services = *services;
      break;
    default:
      break;
  }
}

bool isUnknownObject(const ReadOutcome& outcome) {
  const auto* failure = std::get_if<Failure>(&outcome);
  return failure && failure->kind == Failure::Kind::kError && failure->error.errorCode == error_code::kUnknownObject;
}

}  // namespace

std::size_t usableApdu(std::uint64_t said) {
  return static_cast<std::size_t>(std::clamp<std::uint64_t>(said, kSmallestApdu, kOwnMaxApdu));
}

ObjectId deviceObject(const DeviceState& state) {
  const auto& id = state.settings.deviceId ? state.settings.deviceId : state.profile.deviceId;
  return {object_type::kDevice, id.value_or(kLargestInstance)};
}

void CProfileReader::read(std::function<void()> done) {
  done_ = std::move(done);
  hasAskedWho_ = false;
  ++run_;
  ask(state_.profile.deviceId ? 1 : 0);
}

void CProfileReader::ask(std::size_t place) {
  if (place == std::size(kAsked)) return done_();
  start({deviceObject(state_), {kAsked[place], {}}},
        [this, place](const ReadOutcome& outcome) { take(place, outcome); });
}

void CProfileReader::take(std::size_t place, const ReadOutcome& outcome) {
  const auto* values = std::get_if<Values>(&outcome);
  if (values && values->size() == 1) apply(state_.profile, kAsked[place], values->front());
  const bool isUnknown = isUnknownObject(outcome) && state_.settings.deviceId;
  if (isUnknown && !std::exchange(hasAskedWho_, true)) return askWho(place + 1);
  ask(place + 1);
}

/// Each device takes the largest number as its own.
void CProfileReader::askWho(std::size_t next) {
  start({{object_type::kDevice, kLargestInstance}, {property::kObjectIdentifier, {}}},
        [this, next](const ReadOutcome& outcome) {
          const auto* values = std::get_if<Values>(&outcome);
          const auto* id = values && values->size() == 1 ? std::get_if<ObjectId>(&values->front()) : nullptr;
          if (id && id->instance != *state_.settings.deviceId) stranger_(id->instance);
          ask(next);
        });
}

void CProfileReader::start(const ReadPropertyRequest& read, std::function<void(const ReadOutcome&)> done) {
  using Kind = Answer::Kind;
  Request request;
  request.service = ConfirmedService::kReadProperty;
  request.data = encode(read);
  request.done = [this, run = run_, address = PropertyAddress{read.object, read.reference},
                  done = std::move(done)](const Answer& answer) {
    const bool isNone =
        answer.kind == Kind::kOverdue || answer.kind == Kind::kUnreachable || answer.kind == Kind::kRefused;
    if (run == run_ && !isNone) done(readOutcome(address, answer));
  };
  transactions_.start(Peer{*state_.profile.station, kSmallestApdu, false}, std::move(request));
}

}  // namespace bacnet
