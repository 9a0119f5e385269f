#include "bacnet/client/device_text.h"

#include "bacnet/number/names.h"

namespace bacnet {

namespace {

std::string named(const char* kind, const CNameTable& names, std::uint32_t number) {
  std::string text = kind;
  if (const auto name = names.name(number); !name.empty()) text.append(" ").append(name);
  return text + " (" + std::to_string(number) + ")";
}

}  // namespace

std::string stationText(const Station& station) {
  std::string text = io::addressText(station.address);
  if (!station.remote) return text;
  text += ", network " + std::to_string(station.remote->network) + ", address ";
  constexpr char kDigits[] = "0123456789abcdef";
  for (const char octet : station.remote->mac) {
    text += kDigits[static_cast<unsigned char>(octet) >> 4];
    text += kDigits[static_cast<unsigned char>(octet) & 15];
  }
  return text;
}

std::string deviceText(const DeviceState& state) {
  std::string text = "device";
  if (state.profile.deviceId) text += " " + std::to_string(*state.profile.deviceId);
  if (state.profile.station) text += " at " + stationText(*state.profile.station);
  return text;
}

std::string objectText(const ObjectId& object) {
  const auto name = kObjectTypeNames.name(object.type);
  return (name.empty() ? std::to_string(object.type) : std::string(name)) + " " + std::to_string(object.instance);
}

std::string failureText(const Failure& failure) {
  switch (failure.kind) {
    case Failure::Kind::kError:
      return named("error", kErrorCodeNames, failure.error.errorCode);
    case Failure::Kind::kReject:
      return named("reject", kRejectReasonNames, failure.reason);
    case Failure::Kind::kAbort:
      return named("abort", kAbortReasonNames, failure.reason);
    case Failure::Kind::kSilent:
      return "no answer";
    case Failure::Kind::kNotFound:
      return "not found";
    case Failure::Kind::kUnreachable:
      return "not reachable";
    case Failure::Kind::kTooLong:
      return "the request is too long for it";
    case Failure::Kind::kUndecodable:
      return "an answer that is not to be read";
  }
  return {};
}

}  // namespace bacnet
