#include "bacnet/client/profile_reader.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "bacnet/client/answers.h"
#include "bacnet/number/object_types.h"
#include "bacnet/number/properties.h"
#include "bacnet/service/property.h"

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
  ++run_;
  ask(state_.profile.deviceId ? 1 : 0);
}

void CProfileReader::ask(std::size_t place) {
  if (place == std::size(kAsked)) return done_();
  Request request;
  request.service = ConfirmedService::kReadProperty;
  request.data = encode(ReadPropertyRequest{deviceObject(state_), {kAsked[place], {}}});
  request.done = [this, place, run = run_](const Answer& answer) {
    if (run == run_) take(place, answer);
  };
  transactions_.start(Peer{*state_.profile.station, kSmallestApdu, false}, std::move(request));
}

void CProfileReader::take(std::size_t place, const Answer& answer) {
  using Kind = Answer::Kind;
  if (answer.kind == Kind::kOverdue || answer.kind == Kind::kUnreachable || answer.kind == Kind::kRefused) return;
  const auto outcome = readOutcome({deviceObject(state_), {kAsked[place], {}}}, answer);
  const auto* values = std::get_if<Values>(&outcome);
  if (values && values->size() == 1) apply(state_.profile, kAsked[place], values->front());
  ask(place + 1);
}

}  // namespace bacnet
