#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cbl/bus/velix_message.h"
#include "helper/result_codes.h"
#include "plant/value.h"

namespace helper {

/// One point of a read or write request.
struct PointAccess {
  std::uint32_t regId = 0;
  std::int32_t size = 0;  ///< value size in bytes, as the driver claims it
  plant::Words words;     ///< what to write; empty in a read
};

/// A request as the remote functions understand it.
struct Request {
  enum Operation { kNone, kLoadProject, kConnect, kRead, kWrite };

  Operation operation = kNone;
  std::string function;             ///< element 0, known or not
  std::string path;                 ///< of the project file
  std::int32_t link = 0;            ///< in the project file
  std::vector<PointAccess> points;  ///< of a read or write
};

constexpr std::string_view kLoadFunction = "func@bac_load_xml";

/// Most points of one batch.
constexpr std::size_t kMostPoints = 4096;

bool isRemoteFunction(std::string_view name);

/// Reads one of the six remote functions out of its message; see docs/bus-protocol.md for their elements.
/// Result: kDone, kUnknownFunction or kMalformedRequest; then only `function` is of use.
ResultCode readRequest(const cbl::CVelixMessage& message, Request& request);

}  // namespace helper
