#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "bacnet/number/services.h"

namespace bacnet {

/// Octets that a PDU in one piece has before the service's data.
constexpr std::size_t kConfirmedRequestHeader = 4;
constexpr std::size_t kComplexAckHeader = 3;

/// The part of a segmented message that says which piece it is.
struct Segment {
  std::uint8_t sequence = 0;
  std::uint8_t window = 1;  ///< 1 to 127, proposed by the sender
  bool more = false;
};

/// The PDUs of the application layer, clause 20.1. `service` is kept as a number: an unknown one has to be refused by
/// it. `data` is the service's own bytes, of a segment its piece of them; it points into the bytes that were parsed.
struct ConfirmedRequest {
  std::uint8_t invokeId = 0;
  ConfirmedService service{};
  bool takesSegmentedAnswer = false;
  std::uint8_t maxSegmentsCode = 0;  ///< 0 unspecified, 1 to 6 for 2 to 64, 7 more
  std::size_t maxApdu = 1476;        ///< octets, one of kApduSizes; an unknown code counts as 50
  std::optional<Segment> segment;
  std::string_view data;
};
struct UnconfirmedRequest {
  UnconfirmedService service{};
  std::string_view data;
};
struct SimpleAck {
  std::uint8_t invokeId = 0;
  ConfirmedService service{};
};
struct ComplexAck {
  std::uint8_t invokeId = 0;
  ConfirmedService service{};
  std::optional<Segment> segment;
  std::string_view data;
};
struct SegmentAck {
  std::uint8_t invokeId = 0;
  bool isNegative = false;
  bool fromServer = false;
  std::uint8_t sequence = 0;
  std::uint8_t window = 1;
};
struct ErrorPdu {
  std::uint8_t invokeId = 0;
  ConfirmedService service{};
  std::string_view data;  ///< bacnet/service/failure.h reads it
};
struct RejectPdu {
  std::uint8_t invokeId = 0;
  std::uint8_t reason = 0;
};
struct AbortPdu {
  std::uint8_t invokeId = 0;
  bool fromServer = false;
  std::uint8_t reason = 0;
};

using Apdu = std::variant<ConfirmedRequest, UnconfirmedRequest, SimpleAck, ComplexAck, SegmentAck, ErrorPdu, RejectPdu,
                          AbortPdu>;

/// Octets of an APDU that a device may say it takes, by the code that stands for them.
constexpr std::size_t kApduSizes[] = {50, 128, 206, 480, 1024, 1476};

/// Nothing where the bytes are no PDU: too short, or of an unknown type.
std::optional<Apdu> parseApdu(std::string_view bytes);
std::string encodeApdu(const Apdu& apdu);

}  // namespace bacnet
