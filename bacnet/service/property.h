#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "bacnet/codec/value.h"
#include "bacnet/service/failure.h"

namespace bacnet {

/// ReadProperty, ReadPropertyMultiple, WriteProperty, WritePropertyMultiple, clauses 15.5, 15.7, 15.9 and 15.10: the
/// service's own bytes, without the PDU around them. Parsers give nothing where a field is missing, of another type, or
/// cut, and where bytes are left over.

struct ReadPropertyRequest {
  ObjectId object;
  PropertyReference reference;
};
struct ReadPropertyAck {
  ObjectId object;
  PropertyReference reference;
  Values values;
};
struct WritePropertyRequest {
  ObjectId object;
  PropertyReference reference;
  Values values;
  std::optional<std::uint8_t> priority;  ///< 1 to 16; a parser gives what came, up to 255
};

struct ReadAccess {
  ObjectId object;
  std::vector<PropertyReference> references;
};
struct ReadResult {
  PropertyReference reference;
  std::variant<Values, Error> result;
};
struct ReadAccessResult {
  ObjectId object;
  std::vector<ReadResult> results;
};
struct PropertyWrite {
  PropertyReference reference;
  Values values;
  std::optional<std::uint8_t> priority = std::nullopt;
};
struct WriteAccess {
  ObjectId object;
  std::vector<PropertyWrite> writes;
};
using ReadPropertyMultipleRequest = std::vector<ReadAccess>;
using ReadPropertyMultipleAck = std::vector<ReadAccessResult>;
using WritePropertyMultipleRequest = std::vector<WriteAccess>;

std::string encode(const ReadPropertyRequest& request);
std::string encode(const ReadPropertyAck& ack);
std::string encode(const WritePropertyRequest& request);
std::string encode(const ReadPropertyMultipleRequest& request);
std::string encode(const ReadPropertyMultipleAck& ack);
std::string encode(const WritePropertyMultipleRequest& request);

std::optional<ReadPropertyRequest> parseReadProperty(std::string_view data);
std::optional<ReadPropertyAck> parseReadPropertyAck(std::string_view data);
std::optional<WritePropertyRequest> parseWriteProperty(std::string_view data);
std::optional<ReadPropertyMultipleRequest> parseReadPropertyMultiple(std::string_view data);
std::optional<ReadPropertyMultipleAck> parseReadPropertyMultipleAck(std::string_view data);
std::optional<WritePropertyMultipleRequest> parseWritePropertyMultiple(std::string_view data);

}  // namespace bacnet
