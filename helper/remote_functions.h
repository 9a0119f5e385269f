#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "cbl/bus/velix_message.h"
#include "helper/point_back_end.h"

namespace helper {

/// A request as the remote functions understand it.
struct Request {
  enum Operation { kNone, kLoadProject, kConnect, kRead, kWrite };

  Operation operation = kNone;
  std::string function;             ///< element 0, known or not
  std::string path;                 ///< of the project file
  std::int32_t link = 0;            ///< in the project file
  std::vector<PointAccess> points;  ///< of a read or write
};

/// What a reply carries.
struct Answer {
  ResultCode code = ResultCode::kDone;
  std::vector<std::string> values;  ///< one text per point of a read that was done
  std::string note;                 ///< for the log, one line: why the request was refused
};

/// Most points of one batch.
constexpr std::size_t kMostPoints = 4096;

bool isRemoteFunction(std::string_view name);

/// Reads one of the six remote functions out of its message; see docs/bus-protocol.md for their elements.
/// Result: kDone, kUnknownFunction or kMalformedRequest; then only `function` is of use.
ResultCode readRequest(const cbl::CVelixMessage& message, Request& request);

/// Has the back end do what a well-formed request asks for.
Answer perform(const Request& request, CPointBackEnd& backEnd);

}  // namespace helper
